// SPDX-License-Identifier: Apache-2.0
// Tables whose keys were chosen to share a bucket.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "platform/base/KXStringHashTable.h"
#include "tests/platform/base/CollidingKeys.h"

namespace {

using KX::Testing::collidingKeys;
using KX::Testing::randomKeys;
using Table = KXStringHashTable<unsigned>;
using Keys = std::vector<String>;

constexpr char MAC[] = "00:00:00:00:00:00";
constexpr std::size_t MANY = 20000;

Keys keysOf(const Table& table) {
  Keys keys;
  for (const Table::Entry& entry : table) keys.push_back(entry.key);
  return keys;
}

Table tableOf(const Keys& keys) {
  Table table;
  for (unsigned i = 0; i < keys.size(); ++i) table.set(keys[i], i);
  return table;
}

TEST(StringTableCollisionsTest, TheKeysCollide) {
  const Keys keys = collidingKeys(MAC, MANY);
  ASSERT_EQ(keys.size(), MANY);
  for (const String& key : keys) ASSERT_EQ(kxHash(key), kxHash(MAC));
}

TEST(StringTableCollisionsTest, TheyAreWalkedInTheOrderOfInsertion) {
  const Keys keys = collidingKeys(MAC, 500);
  EXPECT_EQ(keysOf(tableOf(keys)), keys);
  const Table copy = tableOf(keys);
  EXPECT_EQ(keysOf(copy), keys);
}

TEST(StringTableCollisionsTest, EveryOneIsFoundReplacedAndRemoved) {
  const Keys keys = collidingKeys(MAC, 500);
  Table table = tableOf(keys);
  for (unsigned i = 0; i < keys.size(); ++i) ASSERT_EQ(*table.find(keys[i]), i);
  EXPECT_EQ(table.find("00:00:00:00:00:0x"), nullptr);
  EXPECT_FALSE(table.remove("00:00:00:00:00:0x"));
  table.set(keys[250], 7);
  EXPECT_EQ(*table.find(keys[250]), 7U);
  EXPECT_EQ(keysOf(table), keys);
  for (const String& key : keys) {
    ASSERT_TRUE(table.remove(key));
    ASSERT_FALSE(table.remove(key));
    ASSERT_EQ(table.find(key), nullptr);
  }
  EXPECT_TRUE(table.isEmpty());
}

// Beside a list that does the same the slow way: keys of three buckets, two of them long ones, come and go at random.
TEST(StringTableCollisionsTest, TheOrderIsThatOfInsertionWhateverComesAndGoes) {
  std::vector<Keys> groups{collidingKeys(MAC, 300), collidingKeys("70:00:00:00:00:00", 300), randomKeys(MAC, 40)};
  Keys all;
  for (const Keys& group : groups) all.insert(all.end(), group.begin(), group.end());
  std::mt19937 random(7);
  Table table;
  Keys expected;
  for (int step = 0; step < 6000; ++step) {
    const String& key = all[random() % all.size()];
    const auto known = std::find(expected.begin(), expected.end(), key);
    // Grows for a while, then shrinks, down to nothing and up again.
    if (step % 3000 < 1500 ? random() % 4 != 0 : random() % 8 == 0) {
      table.set(key, 0);
      if (known == expected.end()) expected.push_back(key);
    } else {
      ASSERT_EQ(table.remove(key), known != expected.end());
      if (known != expected.end()) expected.erase(known);
    }
    ASSERT_EQ(table.size(), expected.size());
    if (step % 100 != 0) continue;
    for (const String& each : all) {
      ASSERT_EQ(table.find(each) != nullptr, std::find(expected.begin(), expected.end(), each) != expected.end());
    }
    for (const Keys& group : groups) {
      const auto isOfGroup = [&](const String& each) {
        return std::find(group.begin(), group.end(), each) != group.end() && kxHash(each) == kxHash(group[0]);
      };
      Keys walked = keysOf(table);
      std::erase_if(walked, std::not_fn(isOfGroup));
      Keys inserted = expected;
      std::erase_if(inserted, std::not_fn(isOfGroup));
      ASSERT_EQ(walked, inserted) << step;
    }
  }
}

// In seconds of this thread, the least of some rounds: filling a table, asking for each key, emptying it oldest first.
double timeOf(const Keys& keys) {
  double least = 1e9;
  for (int round = 0; round < 5; ++round) {
    timespec start{};
    timespec end{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &start);
    Table table = tableOf(keys);
    unsigned found = 0;
    for (const String& key : keys) found += table.find(key) != nullptr ? 1U : 0U;
    for (const String& key : keys) table.remove(key);
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &end);
    EXPECT_EQ(found, keys.size());
    least = std::min(
        least, static_cast<double>(end.tv_sec - start.tv_sec) + static_cast<double>(end.tv_nsec - start.tv_nsec) / 1e9);
  }
  return least;
}

// The bound is wide, since this is built without optimisation and with sanitizers too; collisions-bench measures. A
// walk along the chain takes more than a hundred times.
TEST(StringTableCollisionsTest, TheyCostAboutAsMuchAsOthers) {
  for (const char* pattern : {MAC, "service-000000000000"}) {
    const double ratio = timeOf(collidingKeys(pattern, MANY)) / timeOf(randomKeys(pattern, MANY));
    RecordProperty(pattern, std::to_string(ratio));
    EXPECT_LT(ratio, 12);
  }
}

}  // namespace
