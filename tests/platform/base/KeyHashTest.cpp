// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/base/KeyHash.h"

namespace {

using KX::keyHash;

TEST(KeyHash, EqualKeysHaveEqualHashesWhereverTheyLie) {
  for (std::size_t length = 0; length < 40; ++length) {
    const std::string key(length, 'k');
    const std::string shifted = "x" + key;
    EXPECT_EQ(keyHash(key), keyHash(std::string_view(shifted).substr(1)));
  }
}

TEST(KeyHash, EveryByteAndTheLengthCount) {
  std::set<std::uint64_t> hashes;
  std::size_t keys = 0;
  for (std::size_t length = 0; length < 40; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      std::string key(length, '\0');
      key[at] = 'x';
      hashes.insert(keyHash(key));
      ++keys;
    }
    hashes.insert(keyHash(std::string(length, '\0')));
    ++keys;
  }
  EXPECT_EQ(hashes.size(), keys);
}

TEST(KeyHash, SpreadsKeysThatCountUp) {
  int counts[64] = {};
  for (int i = 0; i < 64000; ++i) ++counts[keyHash("key " + std::to_string(i)) % 64];
  for (const int count : counts) {
    EXPECT_GT(count, 800);
    EXPECT_LT(count, 1200);
  }
}

}  // namespace
