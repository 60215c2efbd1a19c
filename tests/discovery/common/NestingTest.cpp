// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "discovery/common/Nesting.h"

namespace KX::NMS::Discovery {
namespace {

TEST(NestingTest, OnlyTheOutermostOfNestedScopesSaysSo) {
  unsigned counter = 0;
  {
    const Nesting outer(counter);
    EXPECT_TRUE(outer.isOutermost());
    {
      const Nesting inner(counter);
      EXPECT_FALSE(inner.isOutermost());
      EXPECT_FALSE(outer.isOutermost());
    }
    EXPECT_TRUE(outer.isOutermost());
  }
  EXPECT_EQ(counter, 0U);
}

TEST(NestingTest, ScopesOneAfterAnotherAreOutermostEach) {
  unsigned counter = 0;
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(Nesting(counter).isOutermost());
}

}  // namespace
}  // namespace KX::NMS::Discovery
