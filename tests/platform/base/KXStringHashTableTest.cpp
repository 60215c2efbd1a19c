// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/KXStringHashTable.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Table = KXStringHashTable<int>;

std::vector<std::string> keysOf(const Table& table) {
  std::vector<std::string> keys;
  for (const Table::Entry& entry : table) keys.emplace_back(entry.key.view());
  return keys;
}

std::string numbered(int number) { return "service-" + std::to_string(number); }

// The order that a table of so many buckets has after insertions in the given order.
std::vector<std::string> byBucket(std::vector<std::string> inserted, std::uint32_t buckets) {
  std::stable_sort(inserted.begin(), inserted.end(), [buckets](const std::string& left, const std::string& right) {
    return kxHash(left) % buckets < kxHash(right) % buckets;
  });
  return inserted;
}

TEST(KXStringHashTableTest, HashIsTheSameAtEveryLength) {
  std::mt19937 random(3);
  std::string text;
  std::uint32_t expected = 0;
  for (int length = 0; length < 100; ++length) {
    EXPECT_EQ(kxHash(text), expected) << length;
    text += static_cast<char>(random());
    expected = expected ^ static_cast<unsigned char>(text.back()) ^ (expected << 5U);
  }
}

TEST(KXStringHashTableTest, TakesAllOfAnotherTableAsIfOneByOne) {
  for (const std::uint32_t buckets : {1U, 7U, 16U}) {
    for (const int known : {0, 1, 30, 100}) {
      for (const int given : {0, 3, 40, 200}) {
        Table together;
        Table oneByOne;
        Table other(buckets);
        for (int i = 0; i < known; ++i) together.set(numbered(3 * i).c_str(), i);
        for (int i = 0; i < known; ++i) oneByOne.set(numbered(3 * i).c_str(), i);
        for (int i = 0; i < given; ++i) other.set(numbered(2 * i).c_str(), -i);
        together.setAll(other);
        for (const Table::Entry& entry : other) oneByOne.set(entry.key, entry.value);
        EXPECT_EQ(keysOf(together), keysOf(oneByOne)) << buckets << " " << known << " " << given;
        for (const Table::Entry& entry : oneByOne) EXPECT_EQ(*together.find(entry.key), entry.value);
        together.set("one more", 1);
        EXPECT_EQ(other.find("one more"), nullptr);
      }
    }
  }
}

TEST(KXStringHashTableTest, HashIsTheOneThatFixesTheOrder) {
  EXPECT_EQ(kxHash(""), 0U);
  EXPECT_EQ(kxHash("a"), 0x61U);
  EXPECT_EQ(kxHash("ab"), 0xc23U);
  EXPECT_EQ(kxHash("abc"), 0x18820U);
  EXPECT_EQ(kxHash("http"), 0x347398U);
  EXPECT_EQ(kxHash("192.168.100.200"), 0xcc47b008U);
}

TEST(KXStringHashTableTest, HashTakesBytesAsUnsigned) {
  EXPECT_EQ(kxHash("\xe4"), 0xe4U);
  EXPECT_EQ(kxHash("\xff\xff"), 0x1fe0U);
  EXPECT_EQ(kxHash(std::string_view("\0a", 2)), 0x61U);
}

TEST(KXStringHashTableTest, WalksBucketByBucket) {
  Table table;
  int port = 0;
  // Their buckets of 16 are 10, 8, 11, 0 and 0.
  for (const char* name : {"sip", "http", "https", "snmp", "ping"}) table.set(name, port++);
  EXPECT_THAT(keysOf(table), ElementsAre("snmp", "ping", "http", "sip", "https"));
}

TEST(KXStringHashTableTest, WalksInsideABucketByInsertion) {
  Table table;
  for (const char* name : {"q", "A", "b", "1", "a"}) table.set(name, 0);
  EXPECT_THAT(keysOf(table), ElementsAre("q", "A", "1", "a", "b"));
}

TEST(KXStringHashTableTest, KeyThatComesBackGoesToTheEndOfItsBucket) {
  Table table;
  for (const char* name : {"q", "A", "a"}) table.set(name, 0);
  EXPECT_TRUE(table.remove("q"));
  table.set("q", 1);
  EXPECT_THAT(keysOf(table), ElementsAre("A", "a", "q"));
}

TEST(KXStringHashTableTest, OverwritingKeepsThePlace) {
  Table table;
  for (const char* name : {"q", "A", "a"}) table.set(name, 1);
  table.set("A", 2) += 40;
  EXPECT_THAT(keysOf(table), ElementsAre("q", "A", "a"));
  EXPECT_EQ(*table.find("A"), 42);
  EXPECT_EQ(table.size(), 3U);
}

TEST(KXStringHashTableTest, Keeps16BucketsUpTo64Entries) {
  Table table;
  std::vector<std::string> inserted;
  for (int i = 0; i < 64; ++i) {
    inserted.push_back(numbered(i));
    table.set(String(inserted.back()), i);
    ASSERT_EQ(keysOf(table), byBucket(inserted, 16)) << "at " << i;
  }
  inserted.push_back(numbered(64));
  table.set(String(inserted.back()), 64);
  EXPECT_NE(keysOf(table), byBucket(inserted, 16));
}

TEST(KXStringHashTableTest, GrowsToThePrimeAboveItsSize) {
  Table table;
  for (int i = 0; i < 65; ++i) table.set(String(numbered(i)), i);
  const std::vector<std::string> keys = keysOf(table);
  EXPECT_EQ(keys.size(), 65U);
  EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end(), [](const std::string& left, const std::string& right) {
    return kxHash(left) % 67 < kxHash(right) % 67;
  }));
}

TEST(KXStringHashTableTest, StaysLargeWhenItShrinks) {
  Table table;
  for (int i = 0; i < 65; ++i) table.set(String(numbered(i)), i);
  for (int i = 3; i < 65; ++i) EXPECT_TRUE(table.remove(numbered(i)));
  EXPECT_EQ(table.size(), 3U);
  EXPECT_EQ(keysOf(table), byBucket({numbered(0), numbered(1), numbered(2)}, 67));
  const Table copy = table;
  EXPECT_EQ(keysOf(copy), keysOf(table));
}

TEST(KXStringHashTableTest, BucketCountMayBeGiven) {
  for (const std::uint32_t buckets : {1U, 7U, 64U, 100U}) {
    Table table(buckets);
    std::vector<std::string> inserted;
    for (int i = 0; i < static_cast<int>(4 * buckets); ++i) {
      inserted.push_back(numbered(i));
      table.set(String(inserted.back()), i);
    }
    EXPECT_EQ(keysOf(table), byBucket(inserted, buckets)) << buckets << " buckets";
  }
}

TEST(KXStringHashTableTest, NoBucketsAreOneBucket) {
  Table table(0);
  table.set("b", 1);
  table.set("a", 2);
  EXPECT_THAT(keysOf(table), ElementsAre("b", "a"));
}

TEST(KXStringHashTableTest, EmptyTableHasNothing) {
  Table table;
  EXPECT_TRUE(table.isEmpty());
  EXPECT_EQ(table.find("a"), nullptr);
  EXPECT_FALSE(table.remove("a"));
  EXPECT_THAT(keysOf(table), IsEmpty());
}

TEST(KXStringHashTableTest, KeysAreComparedByteForByte) {
  Table table;
  table.set("http", 1);
  table.set(String("http\0x", 6), 2);
  table.set("", 3);
  EXPECT_EQ(table.find("HTTP"), nullptr);
  EXPECT_EQ(*table.find("http"), 1);
  EXPECT_EQ(*table.find(std::string_view("http\0x", 6)), 2);
  EXPECT_EQ(*table.find(""), 3);
}

TEST(KXStringHashTableTest, RemovesByTheKeyOfTheEntryItself) {
  Table table;
  table.set("a-key-in-the-table", 1);
  EXPECT_TRUE(table.remove(table.begin()->key));
  EXPECT_TRUE(table.isEmpty());
}

TEST(KXStringHashTableTest, CopiesAreIndependent) {
  for (const int size : {5, 200}) {
    Table table;
    for (int i = 0; i < size; ++i) table.set(String(numbered(i)), i);
    Table copy = table;
    EXPECT_EQ(keysOf(copy), keysOf(table));
    copy.set(String(numbered(0)), 1000);
    EXPECT_TRUE(copy.remove(numbered(1)));
    copy.set("new", 1);
    EXPECT_EQ(*table.find(numbered(0)), 0);
    EXPECT_EQ(*table.find(numbered(1)), 1);
    EXPECT_EQ(table.find("new"), nullptr);
    EXPECT_EQ(table.size(), static_cast<std::size_t>(size));
  }
}

TEST(KXStringHashTableTest, SmallCopiesShareUntilOneIsChanged) {
  Table table;
  for (int i = 0; i < 5; ++i) table.set(String(numbered(i)), i);
  const auto sharesAfter = [&table](auto change) {
    Table copy = table;
    EXPECT_TRUE(copy.isSharedWith(table));
    change(copy);
    EXPECT_EQ(table.size(), 5U);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(*std::as_const(table).find(numbered(i)), i);
    return copy.isSharedWith(table);
  };
  EXPECT_TRUE(sharesAfter([](const Table& copy) { EXPECT_EQ(*copy.find(numbered(3)), 3); }));
  EXPECT_TRUE(sharesAfter([](Table& copy) { EXPECT_FALSE(copy.remove("new")); }));
  EXPECT_FALSE(sharesAfter([](Table& copy) { EXPECT_TRUE(copy.remove(numbered(3))); }));
  EXPECT_FALSE(sharesAfter([](Table& copy) { copy.set(String(numbered(3)), 30); }));
  EXPECT_FALSE(sharesAfter([](Table& copy) { copy.set("new", 1); }));
  EXPECT_FALSE(sharesAfter([](Table& copy) { *copy.find(numbered(3)) = 30; }));
  EXPECT_FALSE(sharesAfter([](Table& copy) { copy.begin()->value = 30; }));
  EXPECT_FALSE(sharesAfter([](Table& copy) {
    for (int i = 5; i < 200; ++i) copy.set(String(numbered(i)), i);
  }));
  EXPECT_FALSE(sharesAfter([](Table& copy) { copy.clear(); }));
}

TEST(KXStringHashTableTest, LargeTableThatWasEmptiedIsFilledAgain) {
  Table table;
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 500; ++i) table.set(String(numbered(i)), i);
    for (int i = 0; i < 500; i += 2) EXPECT_TRUE(table.remove(numbered(i)));
    for (int i = 0; i < 100; i += 2) table.set(String(numbered(i)), -i);
    EXPECT_EQ(table.size(), 300U);
    for (int i = 0; i < 500; ++i) EXPECT_EQ(table.remove(numbered(i)), i % 2 == 1 || i < 100) << i;
    EXPECT_TRUE(table.isEmpty());
    EXPECT_THAT(keysOf(table), IsEmpty());
  }
}

TEST(KXStringHashTableTest, ClearedTableIsAsNew) {
  Table table;
  for (int i = 0; i < 200; ++i) table.set(String(numbered(i)), i);
  table.clear();
  EXPECT_TRUE(table.isEmpty());
  for (const char* name : {"sip", "http", "snmp"}) table.set(name, 0);
  EXPECT_THAT(keysOf(table), ElementsAre("snmp", "http", "sip"));
}

TEST(KXStringHashTableTest, ValuesAreChangedThroughTheWalk) {
  Table table;
  for (int i = 0; i < 100; ++i) table.set(String(numbered(i)), i);
  for (Table::Entry& entry : table) entry.value *= 2;
  EXPECT_EQ(*table.find(numbered(7)), 14);
}

// What a plain map says after thousands of random changes, the table says too.
TEST(KXStringHashTableTest, AgreesWithAMapAfterRandomChanges) {
  std::mt19937 random(20261120);
  Table table;
  std::map<std::string, int> expected;
  for (int step = 0; step < 20000; ++step) {
    const std::string key = numbered(static_cast<int>(random() % (step < 10000 ? 50 : 2000)));
    if (random() % 3 == 0) {
      ASSERT_EQ(table.remove(key), expected.erase(key) == 1);
    } else {
      table.set(String(key), step);
      expected[key] = step;
    }
    ASSERT_EQ(table.size(), expected.size());
  }
  std::map<std::string, int> walked;
  for (const Table::Entry& entry : table) walked[std::string(entry.key.view())] = entry.value;
  EXPECT_EQ(walked, expected);
  for (const auto& [key, value] : expected) ASSERT_EQ(*table.find(key), value);
}

}  // namespace
