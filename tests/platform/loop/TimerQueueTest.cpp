// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>

#include "platform/loop/TimerQueue.h"

namespace {

struct TimerQueueTest : testing::Test {
  std::unique_ptr<KX::TimeoutEvent> timer(char name, unsigned priority = 1) {
    return queue.create(priority, [this, name] { log += name; });
  }
  void fireAt(std::int64_t milliseconds) {
    present = milliseconds * 1000;
    queue.fireDue();
  }

  std::int64_t present = 0;
  int changes = 0;
  std::string log;
  KX::TimerQueue queue{[this] { return present; }, [this] { ++changes; }};
};

TEST_F(TimerQueueTest, DueTimeComesFirst) {
  const auto late = timer('l', 0);
  const auto early = timer('e', 9);
  late->start(20, false, false);
  early->start(10, false, false);
  EXPECT_EQ(queue.earliest(), 10);
  fireAt(20);
  EXPECT_EQ(log, "el");
}

TEST_F(TimerQueueTest, OfThoseDueTogetherTheLowerPriorityValueComesFirst) {
  const auto second = timer('b', 2);
  const auto first = timer('a', 1);
  second->start(10, false, false);
  first->start(10, false, false);
  fireAt(10);
  EXPECT_EQ(log, "ab");
}

TEST_F(TimerQueueTest, OfThoseOfOnePriorityTheOneStartedFirstComesFirst) {
  const auto a = timer('a');
  const auto b = timer('b');
  b->start(10, false, false);
  a->start(10, false, false);
  fireAt(10);
  b->start(10, false, false);
  a->start(10, false, false);
  b->start(10, false, false);  // anew, so later than a
  fireAt(20);
  EXPECT_EQ(log, "baab");
}

TEST_F(TimerQueueTest, StartedWithinOneMillisecondTheyAreDueTogether) {
  const auto second = timer('b', 2);
  const auto first = timer('a', 1);
  present = 100;
  second->start(10, false, false);
  present = 900;
  first->start(10, false, false);
  fireAt(11);
  EXPECT_EQ(log, "ab");
}

TEST_F(TimerQueueTest, NothingComesEarly) {
  const auto a = timer('a');
  present = 1;
  a->start(10, false, false);
  fireAt(10);
  EXPECT_EQ(log, "");
  fireAt(11);
  EXPECT_EQ(log, "a");
}

TEST_F(TimerQueueTest, OnceMeansOnce) {
  const auto a = timer('a');
  a->start(10, false, false);
  fireAt(10);
  fireAt(1000);
  EXPECT_EQ(log, "a");
  EXPECT_EQ(queue.earliest(), std::nullopt);
}

TEST_F(TimerQueueTest, RepeatingKeepsItsRhythm) {
  const auto a = timer('a');
  a->start(10, true, false);
  for (int time : {10, 20, 30}) {
    EXPECT_EQ(queue.earliest(), time);
    fireAt(time);
  }
  EXPECT_EQ(log, "aaa");
}

TEST_F(TimerQueueTest, WhatComesTooLateIsNotMadeUpForAndTheNextComesAFullPeriodLater) {
  const auto a = timer('a');
  a->start(10, true, false);
  fireAt(57);
  EXPECT_EQ(log, "a");
  EXPECT_EQ(queue.earliest(), 67);
}

TEST_F(TimerQueueTest, TimerThatAnotherOnesHandlerHeldUpComesAFullPeriodAfterItsOwnCall) {
  const auto slow = queue.create(0, [this] { present += 7500; });
  const auto a = timer('a', 1);
  slow->start(10, false, false);
  a->start(10, true, false);
  fireAt(10);
  EXPECT_EQ(log, "a");
  EXPECT_EQ(queue.earliest(), 28);
}

TEST_F(TimerQueueTest, FireNowIsAnExtraCallInTheNextTurn) {
  const auto a = timer('a');
  a->start(10, false, true);
  EXPECT_EQ(log, "");
  fireAt(0);
  EXPECT_EQ(log, "a");
  fireAt(9);
  EXPECT_EQ(log, "a");
  fireAt(10);
  EXPECT_EQ(log, "aa");
  EXPECT_EQ(queue.earliest(), std::nullopt);
}

TEST_F(TimerQueueTest, FireNowLeavesTheRhythmAlone) {
  const auto a = timer('a');
  a->start(10, true, true);
  fireAt(3);
  EXPECT_EQ(queue.earliest(), 10);
  fireAt(10);
  EXPECT_EQ(queue.earliest(), 20);
}

TEST_F(TimerQueueTest, StoppedTimersDoNotFire) {
  const auto a = timer('a');
  a->start(10, true, true);
  a->stop();
  a->stop();
  EXPECT_EQ(queue.earliest(), std::nullopt);
  fireAt(100);
  EXPECT_EQ(log, "");
}

TEST_F(TimerQueueTest, HandlerMayStopATimerThatIsDueToo) {
  const auto b = timer('b', 2);
  const auto a = queue.create(1, [&] { b->stop(); });
  a->start(10, false, false);
  b->start(10, false, false);
  fireAt(10);
  EXPECT_EQ(log, "");
}

TEST_F(TimerQueueTest, HandlerMayDestroyItselfAndOthers) {
  std::unique_ptr<KX::TimeoutEvent> a;
  auto b = timer('b', 2);
  const auto marker = std::make_shared<int>(0);
  a = queue.create(1, [&, marker] {
    a.reset();
    b.reset();
    log += marker.use_count() > 1 ? "kept" : "gone";
  });
  a->start(10, true, false);
  b->start(10, false, false);
  fireAt(10);
  EXPECT_EQ(log, "kept");
  EXPECT_EQ(marker.use_count(), 1);
  EXPECT_EQ(queue.earliest(), std::nullopt);
}

TEST_F(TimerQueueTest, StartInAHandlerWaitsForTheNextTurn) {
  std::unique_ptr<KX::TimeoutEvent> a;
  a = queue.create(1, [&] {
    log += 'a';
    a->start(0, false, false);
  });
  a->start(0, false, false);
  fireAt(0);
  EXPECT_EQ(log, "a");
  fireAt(0);
  EXPECT_EQ(log, "aa");
  a->stop();
}

TEST_F(TimerQueueTest, RepeatingTimerStoppedInItsHandlerStaysStopped) {
  std::unique_ptr<KX::TimeoutEvent> a;
  a = queue.create(1, [&] {
    log += 'a';
    a->stop();
  });
  a->start(10, true, false);
  fireAt(10);
  fireAt(20);
  EXPECT_EQ(log, "a");
}

TEST_F(TimerQueueTest, RepeatingWithoutDelayRepeatsEveryMillisecond) {
  const auto a = timer('a');
  a->start(0, true, false);
  fireAt(0);
  EXPECT_EQ(queue.earliest(), 1);
}

TEST_F(TimerQueueTest, FarthestDelayIsNeverDue) {
  const auto a = timer('a');
  present = std::int64_t{1} << 59U;
  a->start(std::numeric_limits<std::uint64_t>::max(), true, false);
  ASSERT_TRUE(queue.earliest().has_value());
  EXPECT_GT(*queue.earliest(), present / 1000);
  queue.fireDue();
  EXPECT_EQ(log, "");
}

TEST_F(TimerQueueTest, TellsOnlyWhenTheEarliestChanges) {
  const auto a = timer('a');
  const auto b = timer('b');
  a->start(10, false, false);
  EXPECT_EQ(changes, 1);
  b->start(20, false, false);
  b->stop();
  EXPECT_EQ(changes, 1);
  a->stop();
  EXPECT_EQ(changes, 2);
}

}  // namespace
