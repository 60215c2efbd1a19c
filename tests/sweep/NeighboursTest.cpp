// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "sweep/Neighbours.h"

namespace HostSweep {
namespace {

TEST(NeighboursTest, ThereIsAlwaysSomeRoom) {
  Neighbours neighbours;
  EXPECT_GE(neighbours.room(), 128U);
  neighbours.measure();
  EXPECT_GE(neighbours.room(), 128U);
}

TEST(NeighboursTest, NothingIsDroppedWhereNothingIsNamed) {
  NeighbourTable table;
  const std::size_t before = table.neighbours().size();
  Neighbours neighbours;
  static_cast<void>(neighbours.drop({}));
  EXPECT_EQ(table.neighbours().size(), before);
}

}  // namespace
}  // namespace HostSweep
