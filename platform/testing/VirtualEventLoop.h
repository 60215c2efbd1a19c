// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/loop/KXEventLoop.h"
#include "platform/loop/TimerQueue.h"

namespace KX::Testing {

// The loop in simulated time: nothing happens but on command, and days of schedule take as long as their handlers do.
// The present starts at a given time and follows the timers. Descriptors and signals have no simulated time and cannot
// be watched: those events are null.
class VirtualEventLoop final : public KXEventLoop {
 public:
  explicit VirtualEventLoop(Clock start = Clock(1'767'225'600, Clock::UTC));  // 2026-01-01
  ~VirtualEventLoop() override;

  // Lets time pass: what falls due is called at its time and in its order, and posted calls as they come.
  void advance(std::chrono::milliseconds duration);
  // Calls what is posted, until nothing is.
  void runPosted();
  // Calls what is posted or due at present, until nothing is. A timer whose handler keeps starting it without delay
  // never lets it end.
  void settle();
  // Sets the wall clock, which moves no timer.
  void setNow(Clock now);
  // Since the creation of the loop.
  std::chrono::milliseconds elapsed() const { return std::chrono::milliseconds(elapsed_ / 1000); }

  // Jumps from timer to timer until stop, or until nothing is left to wait for.
  void run() override;
  void stop() override;
  void post(Handler task) override;
  std::unique_ptr<TimeoutEvent> createTimeoutEvent(unsigned priority, Handler handler) override;
  // Null.
  std::unique_ptr<WatchEvent> createDescriptorEvent(int descriptor, unsigned readiness,
                                                    std::function<void(unsigned)> handler) override;
  // Null.
  std::unique_ptr<WatchEvent> createSignalEvent(int signal, Handler handler) override;
  Clock now() const override;

 private:
  bool hasPosted();
  bool isDue() const;
  void turn();
  void callPosted();
  bool jump(std::int64_t latest);

  std::int64_t wallOffset_;  // microseconds from the loop's beginning to the wall clock
  std::int64_t elapsed_ = 0;
  bool isStopped_ = false;
  std::mutex mutex_;
  std::vector<Handler> posted_;
  TimerQueue timers_;
};

}  // namespace KX::Testing
