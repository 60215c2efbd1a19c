// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <vector>

#include "agent/ClockWatch.h"
#include "platform/loop/UvEventLoop.h"

namespace {

constexpr std::int64_t HOUR = 3600;
constexpr std::int64_t YEAR = 365 * 24 * HOUR;

class ClockWatchTest : public testing::Test {
 protected:
  // Sets the clock to so many seconds from where it stood at first, and lets the loop look.
  void set(std::int64_t seconds) {
    offset_ = START + seconds;
    ASSERT_EQ(eventfd_write(descriptor_, 1), 0);
    const auto end = loop_.createTimeoutEvent(9, [this] { loop_.stop(); });
    end->start(1, true, false);
    pollfd entry{descriptor_, POLLIN, 0};
    while (poll(&entry, 1, 0) > 0) loop_.run();
  }

  static constexpr std::int64_t START = 1'700'000'000;
  std::int64_t offset_ = START;
  std::vector<std::int64_t> told_;
  KX::UvEventLoop loop_;
  int descriptor_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  ClockWatch watch_{loop_,
                    [this](std::int64_t seconds) { told_.push_back(seconds); },
                    {KX::Shell::Descriptor(descriptor_), [this] { return offset_; }}};
};

TEST_F(ClockWatchTest, ForwardAndBackIsToldOnce) {
  set(20 * YEAR);
  EXPECT_TRUE(told_.empty());
  set(0);
  EXPECT_EQ(told_, std::vector<std::int64_t>{20 * YEAR});
  set(0);
  set(YEAR);
  EXPECT_EQ(told_.size(), 1U);
  set(0);
  EXPECT_EQ(told_.size(), 2U);
}

TEST_F(ClockWatchTest, AnHourIsNotFar) {
  set(-HOUR);
  EXPECT_TRUE(told_.empty());
  set(-HOUR - 1);
  EXPECT_EQ(told_, std::vector<std::int64_t>{HOUR + 1});
}

TEST_F(ClockWatchTest, SmallStepsAddUp) {
  set(-HOUR / 2);
  set(-HOUR);
  set(-HOUR * 3 / 2);
  EXPECT_EQ(told_, std::vector<std::int64_t>{HOUR * 3 / 2});
  set(-HOUR * 2);
  EXPECT_EQ(told_.size(), 1U);
}

TEST(ClockWatchSystemTest, TheSystemTellsOfTheClockAndNothingElse) {
  KX::UvEventLoop loop;
  const ClockWatch watch(loop, [](std::int64_t) { FAIL(); });
  EXPECT_TRUE(watch.isWatching());
  const ClockWatch::Source source = ClockWatch::systemSource();
  pollfd entry{source.wasSet.get(), POLLIN, 0};
  EXPECT_EQ(poll(&entry, 1, 0), 0) << "the clock was not set";
  EXPECT_GT(source.offset(), 0);
}

}  // namespace
