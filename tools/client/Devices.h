// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "platform/net/NeighbourTable.h"
#include "tools/protocol/Description.h"

namespace DeviceDiscovery::Client {

struct Device {
  Description description;
  MacAddress macAddress{};
  bool hasMacAddress = false;
};

// The devices that have answered, each once, by ascending address, however often it answers: its first description
// stands. There are at most MAX_DEVICES, so that an answer with a forged sender costs no more than its place.
class Devices {
 public:
  static constexpr std::size_t MAX_DEVICES = 8192;

  bool isKnown(std::uint32_t address) const { return devices_.contains(address); }
  void add(std::uint32_t address, const Description& description);

  // Takes the MAC addresses from the kernel's neighbours of one interface.
  void identify(const std::vector<Neighbour>& neighbours, int interface);
  std::vector<std::uint32_t> unidentified() const;
  // Leaves out those that have none: they would be taken for one and the same device.
  void dropUnidentified();

  const std::map<std::uint32_t, Device>& all() const { return devices_; }

 private:
  std::map<std::uint32_t, Device> devices_;
};

}  // namespace DeviceDiscovery::Client
