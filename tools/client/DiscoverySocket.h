// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <string_view>

#include "platform/base/XCode.h"
#include "platform/process/Descriptor.h"
#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery::Client {

using Deadline = std::chrono::steady_clock::time_point;

// A UDP socket that sends and hears on one interface only, with room for the answers of a whole LAN at once.
class DiscoverySocket {
 public:
  struct Datagram {
    std::uint32_t address;  // where it came from, in host byte order
    std::uint16_t port;
    std::string_view bytes;  // until the next one is received
  };

  // An error for an interface that is not there or has no IPv4 address.
  [[nodiscard]] XCode open(const String& interface);
  int interfaceIndex() const { return interfaceIndex_; }

  [[nodiscard]] XCode send(std::uint32_t address, std::uint16_t port, std::string_view bytes) const;
  // Waits for one until the deadline, and no longer however many come. What is longer than any message is left out.
  bool receive(Datagram& datagram, Deadline deadline);

 private:
  XCode findInterface(const String& name);
  XCode setOptions(const String& interface) const;
  bool waitUntil(Deadline deadline) const;

  KX::Shell::Descriptor socket_;
  int interfaceIndex_ = 0;
  std::array<char, MAX_MESSAGE_BYTES + 1> buffer_{};
};

}  // namespace DeviceDiscovery::Client
