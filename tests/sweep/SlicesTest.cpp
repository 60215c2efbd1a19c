// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "sweep/Slices.h"

namespace HostSweep {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FakeNeighbours final : public Neighbours {
 public:
  std::size_t room() const override { return size; }
  void measure() override { size = sizeWhenMeasured; }
  bool drop(const std::vector<std::uint32_t>& addresses) override {
    dropped.push_back(addresses);
    return isAllowed;
  }
  std::size_t size = 2;
  std::size_t sizeWhenMeasured = 2;
  bool isAllowed = true;
  std::vector<std::vector<std::uint32_t>> dropped;
};

TEST(SlicesTest, AListThatFitsIsNotHeldUpAndTheTableLeftAlone) {
  FakeNeighbours neighbours;
  Slices slices(neighbours);
  slices.plan(2, {1, 2});
  EXPECT_FALSE(slices.isSliced());
  EXPECT_TRUE(slices.allows(1'000'000));
  slices.ended(1, Slices::Host::SPOKE, 0);
  slices.giveBack(100, 1);
  EXPECT_THAT(neighbours.dropped, IsEmpty());
}

TEST(SlicesTest, WhatAnEarlierScanLeftMakesWayFirst) {
  FakeNeighbours neighbours;
  neighbours.sizeWhenMeasured = 3;
  Slices slices(neighbours);
  slices.plan(3, {1, 2, 3});
  EXPECT_FALSE(slices.isSliced());
  EXPECT_THAT(neighbours.dropped, ElementsAre(ElementsAre(1, 2, 3)));
}

TEST(SlicesTest, AnEndMakesRoomForOneMoreOnceTheHostIsSilent) {
  FakeNeighbours neighbours;
  Slices slices(neighbours);
  slices.plan(4, {1, 2, 3, 4});
  EXPECT_TRUE(slices.allows(1));
  EXPECT_FALSE(slices.allows(2));
  slices.ended(1, Slices::Host::SPOKE, 50);
  slices.giveBack(49, 1);
  EXPECT_FALSE(slices.allows(2));
  slices.giveBack(50, 2);
  EXPECT_FALSE(slices.allows(2));
  slices.giveBack(50, 1);
  EXPECT_TRUE(slices.allows(2));
  EXPECT_FALSE(slices.allows(3));
}

TEST(SlicesTest, WithoutTheRightTheKernelTakesLongerForThoseThatSpoke) {
  FakeNeighbours neighbours;
  neighbours.isAllowed = false;
  Slices slices(neighbours);
  slices.plan(4, {1, 2, 3, 4});
  slices.ended(1, Slices::Host::SPOKE, 0);
  slices.ended(2, Slices::Host::SILENT, 0);
  slices.giveBack(3'000, 1);
  EXPECT_FALSE(slices.allows(2));
  slices.giveBack(4'000, 1);
  EXPECT_TRUE(slices.allows(2));
  slices.giveBack(51'000, 1);
  EXPECT_FALSE(slices.allows(3));
  slices.giveBack(52'000, 1);
  EXPECT_TRUE(slices.allows(3));
}

}  // namespace
}  // namespace HostSweep
