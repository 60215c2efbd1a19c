// SPDX-License-Identifier: Apache-2.0
#include "platform/testing/VirtualEventLoop.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace KX::Testing {

VirtualEventLoop::VirtualEventLoop(Clock start)
    : wallOffset_(start.toMicroseconds()), timers_([this] { return elapsed_; }, [] {}) {}

VirtualEventLoop::~VirtualEventLoop() { std::vector<Handler>().swap(posted_); }

void VirtualEventLoop::advance(std::chrono::milliseconds duration) {
  const std::int64_t target = elapsed_ + duration.count() * 1000;
  do {
    settle();
  } while (jump(target));
  elapsed_ = std::max(elapsed_, target);  // a handler may have advanced the time, too
}

void VirtualEventLoop::runPosted() {
  while (hasPosted()) callPosted();
}

void VirtualEventLoop::settle() {
  while (hasPosted() || isDue()) turn();
}

void VirtualEventLoop::setNow(Clock now) { wallOffset_ = now.toMicroseconds() - elapsed_; }

void VirtualEventLoop::run() {
  while (!isStopped_) {
    if (hasPosted() || isDue()) {
      turn();
    } else if (!jump(std::numeric_limits<std::int64_t>::max())) {
      break;
    }
  }
  isStopped_ = false;
}

void VirtualEventLoop::stop() { isStopped_ = true; }

void VirtualEventLoop::post(Handler task) {
  const std::lock_guard guard(mutex_);
  posted_.push_back(std::move(task));
}

std::unique_ptr<TimeoutEvent> VirtualEventLoop::createTimeoutEvent(unsigned priority, Handler handler) {
  return timers_.create(priority, std::move(handler));
}

std::unique_ptr<WatchEvent> VirtualEventLoop::createDescriptorEvent(int, unsigned, std::function<void(unsigned)>) {
  return nullptr;
}

std::unique_ptr<WatchEvent> VirtualEventLoop::createSignalEvent(int, Handler) { return nullptr; }

Clock VirtualEventLoop::now() const { return Clock::fromMicroseconds(wallOffset_ + elapsed_); }

bool VirtualEventLoop::hasPosted() {
  const std::lock_guard guard(mutex_);
  return !posted_.empty();
}

bool VirtualEventLoop::isDue() const {
  const auto earliest = timers_.earliest();
  return earliest && *earliest * 1000 <= elapsed_;
}

// As in real time: timers first, then what is posted.
void VirtualEventLoop::turn() {
  timers_.fireDue();
  callPosted();
}

void VirtualEventLoop::callPosted() {
  std::vector<Handler> tasks;
  {
    const std::lock_guard guard(mutex_);
    tasks.swap(posted_);
  }
  for (Handler& task : tasks) {
    task();
    task = nullptr;
  }
}

// To the next due time; false when there is none until then.
bool VirtualEventLoop::jump(std::int64_t latest) {
  const auto earliest = timers_.earliest();
  if (!earliest || *earliest * 1000 > latest) return false;
  elapsed_ = *earliest * 1000;
  return true;
}

}  // namespace KX::Testing
