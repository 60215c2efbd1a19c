// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "discovery/common/State.h"

namespace KX::NMS::Discovery {
namespace {

using Info = KXEnumInfo<State>;

static_assert(sizeof(State) == 4);

TEST(StateTest, ValuesHaveTheNamesOfWireAndLog) {
  EXPECT_STREQ(Info::VALUE_NAME(static_cast<State>(0)), "idle");
  EXPECT_STREQ(Info::VALUE_NAME(static_cast<State>(1)), "running");
  EXPECT_STREQ(Info::VALUE_NAME(static_cast<State>(2)), "failed");
  EXPECT_STREQ(Info::VALUE_NAME(static_cast<State>(3)), "successful");
  EXPECT_STREQ(Info::VALUE_NAME(static_cast<State>(4)), "cancelled");
}

TEST(StateTest, ValueWithoutANameIsShownAsNothing) {
  EXPECT_EQ(Info::VALUE_NAME(static_cast<State>(5)), nullptr);
  EXPECT_STREQ(Info::nameOrEmpty(static_cast<State>(5)), "");
}

TEST(StateTest, FailedSuccessfulAndCancelledAreTheEnds) {
  EXPECT_FALSE(isFinished(static_cast<State>(0)));
  EXPECT_FALSE(isFinished(static_cast<State>(1)));
  EXPECT_TRUE(isFinished(static_cast<State>(2)));
  EXPECT_TRUE(isFinished(static_cast<State>(3)));
  EXPECT_TRUE(isFinished(static_cast<State>(4)));
  EXPECT_FALSE(isFinished(static_cast<State>(5)));
  EXPECT_FALSE(isFinished(static_cast<State>(0xFFFFFFFFU)));
}

}  // namespace
}  // namespace KX::NMS::Discovery
