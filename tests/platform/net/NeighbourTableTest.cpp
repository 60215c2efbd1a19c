// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "platform/net/NeighbourTable.h"

namespace {

TEST(NeighbourTableTest, AMacAddressIsShownInUpperCase) {
  EXPECT_EQ(toString(MacAddress{0x02, 0, 0x5e, 0, 0, 0x0a}), "02:00:5E:00:00:0A");
  EXPECT_EQ(toString(MacAddress{0xff, 0xfe, 0xdc, 0xba, 0x98, 0x76}), "FF:FE:DC:BA:98:76");
}

TEST(NeighbourTableTest, TheKernelTellsItsLimit) {
  NeighbourTable table;
  const auto usage = table.usage();
  if (!usage) GTEST_SKIP() << "the kernel cannot be asked here";
  EXPECT_GT(usage->limit, 0U);
}

TEST(NeighbourTableTest, EveryNeighbourNamesItsInterface) {
  NeighbourTable table;
  for (const Neighbour& neighbour : table.neighbours()) {
    EXPECT_GT(neighbour.interface, 0);
  }
}

}  // namespace
