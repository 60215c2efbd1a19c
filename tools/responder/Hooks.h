// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/loop/KXEventLoop.h"
#include "platform/process/Child.h"
#include "platform/process/ChildWatch.h"

namespace DeviceDiscovery::Responder {

// Runs the device maker's programs, one at a time and each for a limited time. They read what they are given on stdin,
// and see neither argument nor variable of it; what they print is thrown away, since it could be just that. A program
// that fails is logged.
class Hooks {
 public:
  Hooks(KXEventLoop& loop, std::uint32_t limitSeconds);
  Hooks(const Hooks&) = delete;
  Hooks& operator=(const Hooks&) = delete;
  ~Hooks();

  // Nothing more when it is about to run, or running, with this input; of other input that waits the last one counts.
  void run(const String& program, const String& input);

 private:
  struct Call {
    String program;
    String input;
    bool operator==(const Call&) const = default;
  };

  void startNext();
  XCode start(const Call& call);
  void onEnded();

  KXEventLoop& loop_;
  const std::uint64_t limitMs_;
  std::vector<Call> calls_;  // the first of them runs
  KX::Shell::Child child_;
  KX::Shell::ChildWatch watch_;
  std::unique_ptr<KX::TimeoutEvent> limit_;
};

}  // namespace DeviceDiscovery::Responder
