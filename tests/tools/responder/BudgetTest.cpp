// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tools/responder/Budget.h"

namespace DeviceDiscovery::Responder {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class BudgetTest : public testing::Test {
 protected:
  unsigned takeAll() {
    unsigned count = 0;
    while (budget_.take(now_)) ++count;
    return count;
  }

  Budget::Time now_ = Budget::Time() + seconds(1000);
  Budget budget_{10, 2};
};

TEST_F(BudgetTest, SoMuchIsThereAtOnce) { EXPECT_EQ(takeAll(), 10U); }

TEST_F(BudgetTest, ItComesBackWithTheTime) {
  takeAll();
  now_ += milliseconds(499);
  EXPECT_EQ(takeAll(), 0U);
  now_ += milliseconds(2);
  EXPECT_EQ(takeAll(), 1U);
  now_ += seconds(3);
  EXPECT_EQ(takeAll(), 6U);
}

TEST_F(BudgetTest, ThereIsNeverMoreThanAtFirst) {
  now_ += seconds(100'000);
  EXPECT_EQ(takeAll(), 10U);
}

}  // namespace
}  // namespace DeviceDiscovery::Responder
