// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

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
  std::vector<std::uint32_t> sizes(buckets.count());
  double sum = 0;
  for (const auto* entry = buckets.first(); entry != nullptr; entry = buckets.after(entry)) {
    sum += ++sizes[kxHash(entry->key) % buckets.count()];
  }
  return {sum / static_cast<double>(buckets.size()), *std::max_element(sizes.begin(), sizes.end())};
}

void insert(Buckets& buckets, unsigned number) {
  const String key = address(number);
  buckets.insert({key, 0}, kxHash(key));
}

TEST(StringTableBucketsTest, IsOnePointerWide) { EXPECT_EQ(sizeof(Buckets), sizeof(void*)); }

TEST(StringTableBucketsTest, LookUpsStayShortAtAHundredThousandSequentialAddresses) {
  Buckets buckets;
  for (unsigned i = 0; i < 100000; ++i) insert(buckets, i);
  EXPECT_EQ(buckets.size(), 100000U);
  const Probes measured = probes(buckets);
  EXPECT_LT(measured.mean, 3.5) << "four entries a bucket at most, evenly spread";
  EXPECT_LT(measured.longest, 20U);
}

TEST(StringTableBucketsTest, RightAfterGrowthLookUpsAreShorterStill) {
  Buckets buckets;
  unsigned added = 0;
  while (buckets.count() < 50000) insert(buckets, added++);
  EXPECT_LT(probes(buckets).mean, 2.0);
}

TEST(StringTableBucketsTest, GrowsToPrimesOnlyWhenFourEntriesABucketAreExceeded) {
  Buckets buckets;
  std::size_t before = 16;
  for (unsigned i = 0; i < 20000; ++i) {
    insert(buckets, i);
    if (i < 64) continue;
    const auto count = std::size_t{buckets.count()};
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
