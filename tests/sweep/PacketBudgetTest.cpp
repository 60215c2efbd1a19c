// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "sweep/PacketBudget.h"

namespace HostSweep {
namespace {

std::size_t takeAll(PacketBudget& budget) {
  std::size_t count = 0;
  while (count < 1'000'000 && budget.take()) ++count;
  return count;
}

TEST(PacketBudgetTest, ZeroIsNoLimit) {
  PacketBudget budget(0);
  EXPECT_EQ(takeAll(budget), 1'000'000U);
  budget.refill(1000);
  EXPECT_EQ(takeAll(budget), 1'000'000U);
}

TEST(PacketBudgetTest, TheRateIsKept) {
  PacketBudget budget(1000);
  budget.refill(1'000'000);
  EXPECT_EQ(takeAll(budget), 50U);
  std::size_t count = 0;
  for (std::int64_t now = 1'000'000; now < 1'003'000; now += 10) {
    budget.refill(now);
    count += takeAll(budget);
  }
  EXPECT_EQ(count, 2990U);
}

TEST(PacketBudgetTest, ALowRateIsKeptToo) {
  PacketBudget budget(1);
  budget.refill(50'000);
  EXPECT_EQ(takeAll(budget), 1U);
  budget.refill(50'999);
  EXPECT_EQ(takeAll(budget), 0U);
  budget.refill(51'000);
  EXPECT_EQ(takeAll(budget), 1U);
}

TEST(PacketBudgetTest, WhatIsNotUsedIsLost) {
  PacketBudget budget(100);
  budget.refill(1000);
  budget.refill(1'000'000);
  EXPECT_EQ(takeAll(budget), 5U);
}

TEST(PacketBudgetTest, NoTimeGivesNothing) {
  PacketBudget budget(1000);
  EXPECT_FALSE(budget.take());
  budget.refill(1000);
  takeAll(budget);
  budget.refill(1000);
  budget.refill(999);
  EXPECT_FALSE(budget.take());
}

TEST(PacketBudgetTest, TheHighestRateAndAnOldClockDoNotOverflow) {
  PacketBudget budget(10'000'000);
  budget.refill(std::int64_t{20} * 365 * 86'400'000);
  EXPECT_EQ(takeAll(budget), 500'000U);
}

}  // namespace
}  // namespace HostSweep
