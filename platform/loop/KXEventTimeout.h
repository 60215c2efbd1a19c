// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <utility>

#include "platform/loop/KXEventLoop.h"

// A timer bound to an operation of the object that holds it as a member, so that the two end together.
template <class T>
class KXEventTimeout {
 public:
  KXEventTimeout(KXEventLoop& loop, unsigned priority, T& target, void (T::*handler)())
      : event_(loop.createTimeoutEvent(priority, [this, &target, handler] {
          if (!std::exchange(firesNow_, false) && !repeating_) active_ = false;
          (target.*handler)();
        })) {}
  KXEventTimeout(const KXEventTimeout&) = delete;
  KXEventTimeout& operator=(const KXEventTimeout&) = delete;

  // As KX::TimeoutEvent::start.
  void start(std::uint64_t milliseconds, bool repeat, bool fireNow) {
    active_ = true;
    repeating_ = repeat;
    firesNow_ = fireNow;
    event_->start(milliseconds, repeat, fireNow);
  }
  void stop() {
    active_ = false;
    event_->stop();
  }
  bool isActive() const { return active_; }

 private:
  std::unique_ptr<KX::TimeoutEvent> event_;
  bool active_ = false;
  bool repeating_ = false;
  bool firesNow_ = false;
};
