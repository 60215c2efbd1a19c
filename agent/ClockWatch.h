// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/loop/KXEventLoop.h"
#include "platform/process/Descriptor.h"

// Tells of the wall clock going back far, in one step or several. Times that were computed while it stood in the future
// (a device without a battery, a time server gone wrong) would else be waited for, for years.
class ClockWatch {
 public:
  // A step back of no more than this is none: a job may be late by as much.
  static constexpr std::int64_t FAR_SECONDS = 60 * 60;

  // Where it learns of steps and reads the clock; a test puts its own.
  struct Source {
    // Readable once the clock has been set; what is there to read has no meaning.
    KX::Shell::Descriptor wasSet;
    // Seconds from the machine's start to the epoch of the wall clock: constant while nobody sets it.
    std::function<std::int64_t()> offset;
  };
  static Source systemSource();

  // The handler gets the seconds that the clock went back by.
  ClockWatch(KXEventLoop& loop, std::function<void(std::int64_t)> wentFarBack, Source source = systemSource());
  ClockWatch(const ClockWatch&) = delete;
  ClockWatch& operator=(const ClockWatch&) = delete;

  // False where the system cannot tell.
  bool isWatching() const { return event_ != nullptr; }

 private:
  void onSet();

  std::function<void(std::int64_t)> wentFarBack_;
  Source source_;
  // The furthest into the future since the last far step back.
  std::int64_t furthest_;
  std::unique_ptr<KX::WatchEvent> event_;
};
