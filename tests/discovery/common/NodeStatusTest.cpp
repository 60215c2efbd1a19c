// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "discovery/common/NodeStatus.h"

namespace KX::NMS::Discovery {
namespace {

using Info = KXEnumInfo<NodeStatus>;

static_assert(sizeof(NodeStatus) == 4);

TEST(NodeStatusTest, ValuesHaveTheNamesOfTheWire) {
  EXPECT_STREQ(Info::VALUE_NAME(static_cast<NodeStatus>(0)), "unknown");
  EXPECT_STREQ(Info::VALUE_NAME(static_cast<NodeStatus>(1)), "down");
  EXPECT_STREQ(Info::VALUE_NAME(static_cast<NodeStatus>(2)), "up");
}

TEST(NodeStatusTest, ValueWithoutANameIsShownAsNothing) {
  EXPECT_EQ(Info::VALUE_NAME(static_cast<NodeStatus>(3)), nullptr);
  EXPECT_STREQ(Info::nameOrEmpty(static_cast<NodeStatus>(3)), "");
}

}  // namespace
}  // namespace KX::NMS::Discovery
