// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tools/servicescan/Pace.h"

namespace ServiceScan {
namespace {

class PaceTest : public testing::Test {
 protected:
  // Starts probes for as long as it may, and returns how many.
  std::size_t start(std::int64_t now) {
    std::size_t count = 0;
    for (; pace_.allows(now, probes_); ++count, ++next_) pace_.onStarted(now, next_, probes_[next_]);
    return count;
  }

  std::vector<Probe> probes_ = std::vector<Probe>(10 * Pace::WINDOW);
  Pace pace_;
  ProbeIndex next_ = 0;
};

TEST_F(PaceTest, AWindowLeavesAtOnce) { EXPECT_EQ(start(0), Pace::WINDOW); }

TEST_F(PaceTest, AnAnswerMakesRoomForOneMore) {
  start(0);
  pace_.onEnded(probes_[5]);
  EXPECT_EQ(start(0), 1U);
}

TEST_F(PaceTest, OneProbeMakesRoomOnce) {
  start(0);
  pace_.onEnded(probes_[5]);
  pace_.onEnded(probes_[5]);
  EXPECT_EQ(start(0), 1U);
}

TEST_F(PaceTest, OneThatWasNeverStartedMakesNoRoom) {
  start(0);
  pace_.onEnded(probes_.back());
  EXPECT_EQ(start(0), 0U);
}

TEST_F(PaceTest, SilentOnesCountNoMoreAfterAWhile) {
  start(0);
  EXPECT_EQ(start(Pace::PATIENCE_MS - 1), 0U);
  EXPECT_EQ(start(Pace::PATIENCE_MS), Pace::WINDOW);
  EXPECT_EQ(start(Pace::PATIENCE_MS), 0U);
}

TEST_F(PaceTest, EachWaitsFromItsOwnStart) {
  for (; next_ < 28; ++next_) pace_.onStarted(0, next_, probes_[next_]);
  EXPECT_EQ(start(20), Pace::WINDOW - 28);
  EXPECT_EQ(start(Pace::PATIENCE_MS), 28U);
  EXPECT_EQ(start(Pace::PATIENCE_MS + 20), Pace::WINDOW - 28);
}

TEST_F(PaceTest, ALateAnswerMakesNoRoomTwice) {
  start(0);
  EXPECT_EQ(start(Pace::PATIENCE_MS), Pace::WINDOW);
  for (ProbeIndex index = 0; index < Pace::WINDOW; ++index) pace_.onEnded(probes_[index]);
  EXPECT_EQ(start(Pace::PATIENCE_MS), 0U);
}

}  // namespace
}  // namespace ServiceScan
