// SPDX-License-Identifier: Apache-2.0
#include "platform/loop/TimerQueue.h"

#include <algorithm>
#include <cassert>
#include <tuple>
#include <utility>

namespace KX {

namespace {

constexpr std::int64_t MICROSECONDS = 1000;
// 34,000 years: far enough, and no sum of it and a present overflows.
constexpr std::uint64_t LONGEST_DELAY = std::uint64_t{1} << 50U;

}  // namespace

class TimerQueue::Timer final : public TimeoutEvent {
 public:
  Timer(TimerQueue& queue, unsigned priority, KXEventLoop::Handler handler)
      : queue_(queue),
        priority_(priority),
        handler_(std::make_shared<const KXEventLoop::Handler>(std::move(handler))) {}
  ~Timer() override { queue_.remove(*this); }

  void start(std::uint64_t milliseconds, bool repeat, bool fireNow) override {
    queue_.remove(*this);
    const std::uint64_t delay = std::min(milliseconds, LONGEST_DELAY);
    // A rhythm of no length at all would never let the time go on.
    period_ = repeat ? static_cast<Milliseconds>(std::max<std::uint64_t>(delay, 1)) : 0;
    regular_ = queue_.dueAfter(delay);
    due_ = fireNow ? queue_.dueAfter(0) : regular_;
    isExtra_ = fireNow;
    start_ = ++queue_.starts_;
    queue_.insert(*this);
  }

  void stop() override { queue_.remove(*this); }

  Milliseconds due() const { return due_; }
  auto rank() const { return std::tuple(due_, priority_, start_); }

  // Goes on to the next due time, outside the queue; false when there is none.
  bool moveOn() {
    if (std::exchange(isExtra_, false)) {
      due_ = regular_;
      return true;
    }
    if (period_ == 0) return false;
    due_ = queue_.dueAfter(static_cast<std::uint64_t>(period_));
    return true;
  }

  // The handler may destroy this timer, so the call holds on to it.
  void call() const {
    const auto handler = handler_;
    (*handler)();
  }

 private:
  TimerQueue& queue_;
  unsigned priority_;
  bool isExtra_ = false;
  std::shared_ptr<const KXEventLoop::Handler> handler_;
  Milliseconds due_ = 0;
  Milliseconds regular_ = 0;
  Milliseconds period_ = 0;
  std::uint64_t start_ = 0;
};

bool TimerQueue::Earlier::operator()(const Timer* left, const Timer* right) const {
  return left->rank() < right->rank();
}

TimerQueue::TimerQueue(std::function<std::int64_t()> present, std::function<void()> earliestChanged)
    : present_(std::move(present)), earliestChanged_(std::move(earliestChanged)) {}

TimerQueue::~TimerQueue() { assert(waiting_.empty() && firing_.empty() && "a timer outlives its loop"); }

std::unique_ptr<TimeoutEvent> TimerQueue::create(unsigned priority, KXEventLoop::Handler handler) {
  return std::make_unique<Timer>(*this, priority, std::move(handler));
}

std::optional<TimerQueue::Milliseconds> TimerQueue::earliest() const {
  if (waiting_.empty()) return std::nullopt;
  return (*waiting_.begin())->due();
}

void TimerQueue::fireDue() {
  const Milliseconds now = present_() / MICROSECONDS;
  while (!waiting_.empty() && (*waiting_.begin())->due() <= now) firing_.insert(waiting_.extract(waiting_.begin()));
  while (!firing_.empty()) {
    auto node = firing_.extract(firing_.begin());
    Timer& timer = *node.value();
    if (timer.moveOn()) waiting_.insert(std::move(node));
    timer.call();
  }
  earliestChanged_();
}

// Without a delay: at once, which the loop's next turn is. Else rounded up, as the present is some way into its
// millisecond.
TimerQueue::Milliseconds TimerQueue::dueAfter(std::uint64_t milliseconds) const {
  const std::int64_t present = present_();
  if (milliseconds == 0) return present / MICROSECONDS;
  return (present + MICROSECONDS - 1) / MICROSECONDS + static_cast<Milliseconds>(milliseconds);
}

void TimerQueue::insert(Timer& timer) {
  waiting_.insert(&timer);
  if (*waiting_.begin() == &timer) earliestChanged_();
}

void TimerQueue::remove(Timer& timer) {
  firing_.erase(&timer);
  const auto found = waiting_.find(&timer);
  if (found == waiting_.end()) return;
  const bool wasFirst = found == waiting_.begin();
  waiting_.erase(found);
  if (wasFirst) earliestChanged_();
}

}  // namespace KX
