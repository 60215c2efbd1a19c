// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "sweep/Networks.h"

namespace HostSweep {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t EVERYTHING = ~std::uint32_t{0};

// In a network that no machine is in.
Network network(std::uint32_t first, std::uint32_t last) { return {"lan"_s, 1, 0, first, last, true}; }

TEST(NetworksTest, ANetworkIsShownWithItsPrefix) {
  EXPECT_EQ(network(0xc6336400, 0xc63364ff).toString(), "198.51.100.0/24");
  EXPECT_EQ(network(0xc6336400, 0xc6336401).toString(), "198.51.100.0/31");
  EXPECT_EQ(network(0xc6336407, 0xc6336407).toString(), "198.51.100.7/32");
  EXPECT_EQ(network(0, EVERYTHING).toString(), "0.0.0.0/0");
}

TEST(NetworksTest, NetworkAndBroadcastAddressesBelongToNoHost) {
  const Network lan = network(0xc6336400, 0xc6336403);
  EXPECT_EQ(lan.size(), 2U);
  EXPECT_THAT(hostAddresses(lan, 0, EVERYTHING, 100), ElementsAre(0xc6336401, 0xc6336402));
}

TEST(NetworksTest, ALinkOfTwoHasNeither) {
  const Network link = network(0xc6336400, 0xc6336401);
  EXPECT_EQ(link.size(), 2U);
  EXPECT_THAT(hostAddresses(link, 0, EVERYTHING, 100), ElementsAre(0xc6336400, 0xc6336401));
  EXPECT_EQ(network(5, 5).size(), 1U);
}

TEST(NetworksTest, ARangeAndALimitCutTheList) {
  const Network lan = network(0xc6336400, 0xc63364ff);
  EXPECT_EQ(hostAddresses(lan, 0, EVERYTHING, 1000).size(), 254U);
  EXPECT_THAT(hostAddresses(lan, 0xc63364fc, EVERYTHING, 2), ElementsAre(0xc63364fc, 0xc63364fd));
  EXPECT_THAT(hostAddresses(lan, 0, 0xc6336401, 1000), ElementsAre(0xc6336401));
  EXPECT_THAT(hostAddresses(lan, 0, 5, 1000), IsEmpty());
}

TEST(NetworksTest, TheLastNetworkOfAllEnds) {
  EXPECT_EQ(hostAddresses(network(0xffffff00, EVERYTHING), 0, EVERYTHING, 1000).size(), 254U);
}

TEST(NetworksTest, LoopbackIsNotConnectedToAnything) {
  for (const Network& one : connectedNetworks()) {
    EXPECT_NE(one.device, "lo");
    EXPECT_NE(one.interface, 0);
  }
}

}  // namespace
}  // namespace HostSweep
