// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <set>

#include "tools/servicescan/Cookie.h"

namespace ServiceScan {
namespace {

TEST(CookieTest, NoTwoProbesShareEitherHalf) {
  std::vector<Probe> probes(100);
  ASSERT_TRUE(giveCookies(probes).isSuccess());
  std::set<std::uint64_t> high;
  std::set<std::uint64_t> low;
  for (const Probe& probe : probes) {
    high.insert(probe.cookie >> 32U);
    low.insert(probe.cookie & 0xffffffffU);
  }
  // Chance has two of a hundred halves equal once in a million runs; three are no chance.
  EXPECT_GE(high.size(), 99U);
  EXPECT_GE(low.size(), 99U);
}

TEST(CookieTest, NoneIsToldByTheOneBefore) {
  std::vector<Probe> probes(100);
  ASSERT_TRUE(giveCookies(probes).isSuccess());
  std::set<std::uint64_t> differences;
  for (std::size_t index = 1; index < probes.size(); ++index) {
    differences.insert(probes[index].cookie - probes[index - 1].cookie);
  }
  EXPECT_EQ(differences.size(), probes.size() - 1);
}

TEST(CookieTest, NoProbesNeedNone) {
  std::vector<Probe> probes;
  EXPECT_TRUE(giveCookies(probes).isSuccess());
}

}  // namespace
}  // namespace ServiceScan
