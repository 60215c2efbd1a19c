// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "platform/base/KXVector.h"

namespace {

using testing::ElementsAre;

KXVector<int> numbers(std::initializer_list<int> items) {
  KXVector<int> vector;
  for (const int item : items) vector.add(item);
  return vector;
}

TEST(KXVectorTest, KeepsTheOrderOfInsertion) {
  const KXVector<int> vector = numbers({3, 1, 2});
  EXPECT_EQ(vector.size(), 3U);
  EXPECT_THAT(vector, ElementsAre(3, 1, 2));
  EXPECT_EQ(vector[1], 1);
}

TEST(KXVectorTest, RemovalKeepsTheOrderOfTheOthers) {
  KXVector<int> vector = numbers({1, 2, 3, 4});
  vector.removeAt(1);
  EXPECT_THAT(vector, ElementsAre(1, 3, 4));
  vector.removeAt(2);
  vector.removeAt(0);
  EXPECT_THAT(vector, ElementsAre(3));
}

TEST(KXVectorTest, AddGivesTheElementInItsPlace) {
  KXVector<int> vector;
  vector.add(1) = 7;
  EXPECT_THAT(vector, ElementsAre(7));
}

TEST(KXVectorTest, MayAddAnElementOfItself) {
  KXVector<int> vector = numbers({5});
  for (int i = 0; i < 100; ++i) vector.add(vector[0]);
  EXPECT_EQ(vector.size(), 101U);
  EXPECT_EQ(vector[100], 5);
}

TEST(KXVectorTest, SwapsAndClears) {
  KXVector<int> left = numbers({1});
  KXVector<int> right = numbers({2, 3});
  left.swap(right);
  EXPECT_THAT(left, ElementsAre(2, 3));
  EXPECT_THAT(right, ElementsAre(1));
  left.clear();
  EXPECT_TRUE(left.isEmpty());
}

TEST(KXVectorTest, TakesElementsThatOnlyMove) {
  KXVector<std::unique_ptr<int>> vector;
  vector.reserve(1);
  vector.add(std::make_unique<int>(1));
  vector.add(std::make_unique<int>(2));
  vector.removeAt(0);
  EXPECT_EQ(*vector[0], 2);
}

TEST(KXVectorTest, ItemsTakenOutLeaveNoGapThatCouldBeSeen) {
  const auto pointers = [] {
    KXVector<const char*> vector;
    for (const char* item : {"a", "b", "c", "d"}) vector.add(item);
    vector.takeOut(1);
    vector.takeOut(0);
    return vector;
  };
  EXPECT_THAT(pointers(), ElementsAre(testing::StrEq("c"), testing::StrEq("d")));
  EXPECT_EQ(pointers().size(), 2U);
  EXPECT_STREQ(pointers()[1], "d");
  KXVector<const char*> vector = pointers();
  vector.add("e");
  EXPECT_THAT(vector, ElementsAre(testing::StrEq("c"), testing::StrEq("d"), testing::StrEq("e")));
  KXVector<const char*> swapped;
  KXVector<const char*> gappy = pointers();
  swapped.swap(gappy);
  EXPECT_EQ(swapped.size(), 2U);
  EXPECT_TRUE(gappy.isEmpty());
  KXVector<const char*> removed = pointers();
  removed.removeAt(0);
  EXPECT_THAT(removed, ElementsAre(testing::StrEq("d")));
}

TEST(KXVectorTest, ItemsKeepTheirSlotsUntilTheVectorIsLookedAt) {
  int items[3] = {};
  KXVector<int*> vector;
  for (int& item : items) vector.add(&item);
  vector.takeOut(0);
  EXPECT_TRUE(vector.hasGaps());
  EXPECT_TRUE(vector.isInSlot(2, &items[2]));
  EXPECT_FALSE(vector.isInSlot(3, nullptr));
  EXPECT_EQ(vector.size(), 2U);
  EXPECT_FALSE(vector.hasGaps());
  EXPECT_TRUE(vector.isInSlot(1, &items[2]));
}

}  // namespace
