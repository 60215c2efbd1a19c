// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tools/client/Devices.h"

namespace DeviceDiscovery::Client {
namespace {

constexpr MacAddress MAC = {2, 0, 0, 0, 0, 1};

TEST(DevicesTest, AThousandAnswersFromOneAddressAreOneDeviceAndTheFirstStands) {
  Devices devices;
  devices.add(7, {"first"_s, ""_s, false});
  for (int i = 0; i < 1000; ++i) devices.add(7, {"later"_s, ""_s, true});
  ASSERT_EQ(devices.all().size(), 1U);
  EXPECT_TRUE(devices.isKnown(7));
  EXPECT_EQ(devices.all().at(7).description.model, "first");
}

TEST(DevicesTest, TheyStandInAscendingOrderOfTheirAddresses) {
  Devices devices;
  for (const std::uint32_t address : {0xc0a80102U, 0x0a000001U, 0xc0a8010aU, 0xc0a80101U}) devices.add(address, {});
  std::uint32_t last = 0;
  for (const auto& [address, device] : devices.all()) {
    EXPECT_GT(address, last);
    last = address;
  }
}

TEST(DevicesTest, ForgedSendersAreBounded) {
  Devices devices;
  for (std::uint32_t address = 1; address < 3 * Devices::MAX_DEVICES; ++address) devices.add(address, {});
  EXPECT_EQ(devices.all().size(), Devices::MAX_DEVICES);
}

TEST(DevicesTest, OnlyTheKernelsNeighboursOfTheInterfaceIdentifyThem) {
  Devices devices;
  for (std::uint32_t address = 1; address <= 4; ++address) devices.add(address, {});
  devices.identify({{1, 3, MAC, false}, {2, 3, std::nullopt, false}, {3, 9, MAC, false}, {5, 3, MAC, false}}, 3);
  EXPECT_EQ(devices.unidentified(), (std::vector<std::uint32_t>{2, 3, 4}));
  devices.identify({{4, 3, MAC, true}}, 3);
  devices.dropUnidentified();
  ASSERT_EQ(devices.all().size(), 2U);
  EXPECT_EQ(devices.all().at(1).macAddress, MAC);
  EXPECT_TRUE(devices.isKnown(4));
}

}  // namespace
}  // namespace DeviceDiscovery::Client
