// SPDX-License-Identifier: Apache-2.0
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <chrono>

#include "platform/base/Export.h"
#include "platform/net/NeighbourTable.h"

namespace {

bool isSilent = false;

}  // namespace

// In place of the C library's: while the kernel is to be silent, it does not even hear the question.
extern "C" KX_EXPORT ssize_t sendto(int descriptor, const void* data, std::size_t size, int flags,
                                    const sockaddr* address, socklen_t addressLength) {
  using Send = ssize_t (*)(int, const void*, std::size_t, int, const sockaddr*, socklen_t);
  static const auto send = reinterpret_cast<Send>(dlsym(RTLD_NEXT, "sendto"));
  return isSilent ? static_cast<ssize_t>(size) : send(descriptor, data, size, flags, address, addressLength);
}

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

// Without a bound this test would never end.
TEST(NeighbourTableTest, AKernelThatDoesNotAnswerIsAwaitedForASecond) {
  NeighbourTable table;
  isSilent = true;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(table.neighbours().empty());
  EXPECT_FALSE(table.remove({}));
  isSilent = false;
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1900));
  NeighbourTable other;
  EXPECT_EQ(table.usage().has_value(), other.usage().has_value());
}

TEST(NeighbourTableTest, EveryNeighbourNamesItsInterface) {
  NeighbourTable table;
  for (const Neighbour& neighbour : table.neighbours()) {
    EXPECT_GT(neighbour.interface, 0);
  }
}

}  // namespace
