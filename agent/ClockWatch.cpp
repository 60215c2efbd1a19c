// SPDX-License-Identifier: Apache-2.0
#include "agent/ClockWatch.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <limits>
#include <utility>

namespace {

std::int64_t secondsOf(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec;
}

// A timer that never runs out, but is cancelled when the clock is set, again and again.
KX::Shell::Descriptor cancelledWhenSet() {
  KX::Shell::Descriptor timer(timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC));
  itimerspec never{};
  never.it_value.tv_sec = std::numeric_limits<decltype(never.it_value.tv_sec)>::max();
  if (timerfd_settime(timer.get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &never, nullptr) != 0) timer.reset();
  return timer;
}

}  // namespace

// Since the machine's start and not the monotonic clock, which stands still while it sleeps.
ClockWatch::Source ClockWatch::systemSource() {
  return {cancelledWhenSet(), [] { return secondsOf(CLOCK_REALTIME) - secondsOf(CLOCK_BOOTTIME); }};
}

ClockWatch::ClockWatch(KXEventLoop& loop, std::function<void(std::int64_t)> wentFarBack, Source source)
    : wentFarBack_(std::move(wentFarBack)), source_(std::move(source)), furthest_(source_.offset()) {
  if (!source_.wasSet) return;
  event_ = loop.createDescriptorEvent(source_.wasSet.get(), KXEventLoop::READABLE, [this](unsigned) { onSet(); });
}

void ClockWatch::onSet() {
  std::uint64_t ignored = 0;
  while (read(source_.wasSet.get(), &ignored, sizeof(ignored)) > 0) {
  }
  const std::int64_t offset = source_.offset();
  furthest_ = std::max(furthest_, offset);
  const std::int64_t back = furthest_ - offset;
  if (back <= FAR_SECONDS) return;
  furthest_ = offset;
  wentFarBack_(back);
}
