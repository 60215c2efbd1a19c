// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "platform/testing/VirtualEventLoop.h"

namespace {

using namespace std::chrono_literals;
using KX::Testing::VirtualEventLoop;

struct VirtualEventLoopTest : testing::Test {
  VirtualEventLoop loop{KX::Clock(1'000'000, KX::Clock::UTC)};
  std::string log;
};

TEST_F(VirtualEventLoopTest, PresentStartsAsGivenAndFollowsTheTime) {
  EXPECT_EQ(KX::Clock::NOW(), KX::Clock(1'000'000));
  loop.advance(1500ms);
  EXPECT_EQ(KX::Clock::NOW().toMicroseconds(), 1'000'001'500'000);
  EXPECT_EQ(loop.elapsed(), 1500ms);
}

TEST_F(VirtualEventLoopTest, TimersSeeTheTimeAtWhichTheyAreDue) {
  const auto timer = loop.createTimeoutEvent(
      1, [&] { log += std::to_string(loop.now().toMicroseconds() / 1'000'000 - 1'000'000) + " "; });
  timer->start(15'000, true, false);
  loop.advance(50s);
  EXPECT_EQ(log, "15 30 45 ");
}

TEST_F(VirtualEventLoopTest, AdvanceIncludesItsLastMoment) {
  const auto timer = loop.createTimeoutEvent(1, [&] { log += 'a'; });
  timer->start(1000, false, false);
  loop.advance(999ms);
  EXPECT_EQ(log, "");
  loop.advance(1ms);
  EXPECT_EQ(log, "a");
}

TEST_F(VirtualEventLoopTest, AdvanceByNothingRunsWhatIsDue) {
  const auto timer = loop.createTimeoutEvent(1, [&] { log += 'a'; });
  timer->start(0, false, false);
  loop.post([&] { log += 'p'; });
  loop.advance(0ms);
  EXPECT_EQ(log, "ap");
}

TEST_F(VirtualEventLoopTest, TimerStartedByATimerFiresWithinTheSameAdvance) {
  const auto second = loop.createTimeoutEvent(1, [&] { log += 'b'; });
  const auto first = loop.createTimeoutEvent(1, [&] {
    log += 'a';
    second->start(10, false, false);
  });
  first->start(10, false, false);
  loop.advance(20ms);
  EXPECT_EQ(log, "ab");
}

TEST_F(VirtualEventLoopTest, OfTimersDueTogetherPriorityDecidesThenTheStart) {
  const auto a = loop.createTimeoutEvent(2, [&] { log += 'a'; });
  const auto b = loop.createTimeoutEvent(1, [&] { log += 'b'; });
  const auto c = loop.createTimeoutEvent(1, [&] { log += 'c'; });
  a->start(5, false, false);
  c->start(5, false, false);
  b->start(5, false, false);
  loop.advance(5ms);
  EXPECT_EQ(log, "cba");
}

TEST_F(VirtualEventLoopTest, RunPostedLeavesTimersAlone) {
  const auto timer = loop.createTimeoutEvent(1, [&] { log += 't'; });
  timer->start(0, false, false);
  loop.post([&] { loop.post([&] { log += 'p'; }); });
  loop.runPosted();
  EXPECT_EQ(log, "p");
}

TEST_F(VirtualEventLoopTest, SettleRunsPostedCallsAndDueTimersUntilNothingIsLeft) {
  const auto timer = loop.createTimeoutEvent(1, [&] {
    log += 't';
    loop.post([&] { log += 'q'; });
  });
  loop.post([&] {
    log += 'p';
    timer->start(0, false, false);
  });
  loop.settle();
  EXPECT_EQ(log, "ptq");
  EXPECT_EQ(loop.elapsed(), 0ms);
}

TEST_F(VirtualEventLoopTest, RunEndsWhenNothingIsLeftToWaitFor) {
  const auto timer = loop.createTimeoutEvent(1, [&] { log += 'a'; });
  timer->start(3'600'000, false, false);
  loop.run();
  EXPECT_EQ(log, "a");
  EXPECT_EQ(loop.elapsed(), 1h);
}

TEST_F(VirtualEventLoopTest, RunJumpsThroughDaysUntilStopped) {
  int ticks = 0;
  const auto timer = loop.createTimeoutEvent(1, [&] {
    if (++ticks == 4 * 60 * 24 * 30) loop.stop();
  });
  timer->start(15'000, true, false);
  loop.run();
  EXPECT_EQ(loop.elapsed(), 24h * 30);
}

TEST_F(VirtualEventLoopTest, StopEndsRunThoughCallsKeepBeingPosted) {
  std::function<void()> again;
  int rounds = 0;
  again = [&] {
    if (++rounds == 10) loop.stop();
    ASSERT_LT(rounds, 100);
    loop.post(again);
  };
  loop.post(again);
  loop.run();
  EXPECT_EQ(rounds, 10);
}

TEST_F(VirtualEventLoopTest, SettingTheWallClockMovesNoTimer) {
  const auto timer = loop.createTimeoutEvent(1, [&] { log += 'a'; });
  timer->start(1000, false, false);
  loop.setNow(KX::Clock(5'000'000, KX::Clock::UTC));
  loop.settle();
  EXPECT_EQ(log, "");
  loop.advance(1s);
  EXPECT_EQ(log, "a");
  EXPECT_EQ(loop.now(), KX::Clock(5'000'001));
}

TEST_F(VirtualEventLoopTest, DescriptorsAndSignalsCannotBeWatched) {
  EXPECT_EQ(loop.createDescriptorEvent(0, KXEventLoop::READABLE, [](unsigned) {}), nullptr);
  EXPECT_EQ(loop.createSignalEvent(SIGUSR1, [] {}), nullptr);
}

}  // namespace
