// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>

#include "platform/base/Export.h"
#include "platform/loop/KXEventLoop.h"

namespace KX {

// The timers of one loop, in the order of due time, priority and start. It is told the time and when to fire, and tells
// its loop when the earliest due time has changed. Due times are whole milliseconds of the loop's steady clock, rounded
// up, so that no timer comes early and timers that were started together with one delay are due together. Timers end
// before their queue.
class KX_EXPORT TimerQueue {
 public:
  using Milliseconds = std::int64_t;

  // present gives microseconds of a clock that never goes back.
  TimerQueue(std::function<std::int64_t()> present, std::function<void()> earliestChanged);
  TimerQueue(const TimerQueue&) = delete;
  TimerQueue& operator=(const TimerQueue&) = delete;
  ~TimerQueue();

  std::unique_ptr<TimeoutEvent> create(unsigned priority, KXEventLoop::Handler handler);

  // When the next timer is due, if one runs.
  std::optional<Milliseconds> earliest() const;
  // Calls the handlers of what is due at present. A timer that a handler starts fires in a later call at the earliest.
  void fireDue();

 private:
  class Timer;
  struct Earlier {
    bool operator()(const Timer* left, const Timer* right) const;
  };
  using Ordered = std::set<Timer*, Earlier>;

  Milliseconds dueAfter(std::uint64_t milliseconds) const;
  void insert(Timer& timer);
  void remove(Timer& timer);

  std::function<std::int64_t()> present_;
  std::function<void()> earliestChanged_;
  Ordered waiting_;
  Ordered firing_;
  std::uint64_t starts_ = 0;
};

}  // namespace KX
