// SPDX-License-Identifier: Apache-2.0
#include "tools/client/Devices.h"

namespace DeviceDiscovery::Client {

void Devices::add(std::uint32_t address, const Description& description) {
  if (devices_.size() < MAX_DEVICES) devices_.try_emplace(address, Device{description, {}, false});
}

void Devices::identify(const std::vector<Neighbour>& neighbours, int interface) {
  for (const Neighbour& neighbour : neighbours) {
    if (neighbour.interface != interface || !neighbour.macAddress) continue;
    const auto device = devices_.find(neighbour.address);
    if (device == devices_.end()) continue;
    device->second.macAddress = *neighbour.macAddress;
    device->second.hasMacAddress = true;
  }
}

std::vector<std::uint32_t> Devices::unidentified() const {
  std::vector<std::uint32_t> addresses;
  for (const auto& [address, device] : devices_) {
    if (!device.hasMacAddress) addresses.push_back(address);
  }
  return addresses;
}

void Devices::dropUnidentified() {
  std::erase_if(devices_, [](const auto& entry) { return !entry.second.hasMacAddress; });
}

}  // namespace DeviceDiscovery::Client
