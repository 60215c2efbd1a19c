// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "sweep/KernelLan.h"

namespace HostSweep {
namespace {

TEST(KernelLanTest, ADeviceThatIsNotThereIsAnError) {
  KernelLan lan({"no-such-device"_s, 4711, 0, 0xc6336400, 0xc63364ff, true});
  EXPECT_TRUE(lan.open().isErr());
}

// Loopback has no neighbours: what is sent there stays there.
TEST(KernelLanTest, LoopbackKnowsNobodyAndARefusalNamesWhoHasRefused) {
  KernelLan lan({"lo"_s, 1, 0x7f000001, 0x7f000000, 0x7fffffff, true});
  ASSERT_TRUE(lan.open().isSuccess());
  EXPECT_TRUE(lan.ask(0x7f000003));
  const Lan::Heard heard = lan.listen();
  for (const Neighbour& neighbour : lan.known()) EXPECT_FALSE(neighbour.macAddress);
  for (const Neighbour& neighbour : heard.neighbours) EXPECT_FALSE(neighbour.macAddress);
  for (const std::uint32_t address : heard.alive) EXPECT_EQ(address, 0x7f000003U);
}

}  // namespace
}  // namespace HostSweep
