// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/base/StringTableBuckets.h"

namespace {

using Buckets = KX::TableBuckets<int>;

String address(unsigned number) {
  return String::format("10.%u.%u.%u", number >> 16U & 0xffU, number >> 8U & 0xffU, number & 0xffU);
}

bool isPrime(std::size_t number) {
  for (std::size_t divisor = 2; divisor * divisor <= number; ++divisor) {
    if (number % divisor == 0) return false;
  }
  return number > 1;
}

struct Probes {
  double mean;
  std::uint32_t longest;
};

// The comparisons of a look-up that finds its key, over all keys.
Probes probes(const Buckets& buckets) {
  double sum = 0;
  std::uint32_t longest = 0;
  for (Buckets::Array* const* bucket = buckets.first(); bucket != buckets.last(); ++bucket) {
    const std::uint32_t size = *bucket == nullptr ? 0 : (*bucket)->size;
    sum += size * (size + 1.0) / 2;
    longest = std::max(longest, size);
  }
  return {sum / static_cast<double>(buckets.size()), longest};
}

TEST(StringTableBucketsTest, IsOnePointerWide) { EXPECT_EQ(sizeof(Buckets), sizeof(void*)); }

TEST(StringTableBucketsTest, LookUpsStayShortAtAHundredThousandSequentialAddresses) {
  Buckets buckets;
  for (unsigned i = 0; i < 100000; ++i) buckets.insert({address(i), 0});
  EXPECT_EQ(buckets.size(), 100000U);
  const Probes measured = probes(buckets);
  EXPECT_LT(measured.mean, 3.5) << "four entries a bucket at most, evenly spread";
  EXPECT_LT(measured.longest, 20U);
}

TEST(StringTableBucketsTest, RightAfterGrowthLookUpsAreShorterStill) {
  Buckets buckets;
  const auto count = [&buckets] { return buckets.last() - buckets.first(); };
  unsigned added = 0;
  while (count() < 50000) buckets.insert({address(added++), 0});
  EXPECT_LT(probes(buckets).mean, 2.0);
}

TEST(StringTableBucketsTest, GrowsToPrimesOnlyWhenFourEntriesABucketAreExceeded) {
  Buckets buckets;
  std::size_t before = 16;
  for (unsigned i = 0; i < 20000; ++i) {
    buckets.insert({address(i), 0});
    if (i < 64) continue;
    const auto count = static_cast<std::size_t>(buckets.last() - buckets.first());
    if (count == before) {
      ASSERT_LE(buckets.size(), 4 * count);
      continue;
    }
    ASSERT_EQ(buckets.size(), 4 * before + 1) << "grown early or late";
    ASSERT_TRUE(isPrime(count)) << count;
    before = count;
  }
  EXPECT_GT(before, 4000U);
}

}  // namespace
