// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <set>

#include "tools/servicescan/Cookie.h"

namespace ServiceScan {
namespace {

TEST(CookieTest, NoTwoAreEqualInEitherHalf) {
  std::set<std::uint64_t> high;
  std::set<std::uint64_t> low;
  for (int count = 0; count < 100; ++count) {
    const std::uint64_t cookie = makeCookie();
    high.insert(cookie >> 32U);
    low.insert(cookie & 0xffffffffU);
  }
  // Chance has two of a hundred halves equal once in a million runs; three are no chance.
  EXPECT_GE(high.size(), 99U);
  EXPECT_GE(low.size(), 99U);
}

}  // namespace
}  // namespace ServiceScan
