// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "platform/base/String.h"
#include "platform/net/IpAddress.h"

namespace HostSweep {

// An IPv4 network that this machine is connected to, through a device that is up. Addresses are in host byte order.
struct Network {
  String device;
  int interface = 0;      // the device's index
  std::uint32_t own = 0;  // this machine's address in it
  std::uint32_t first = 0;
  std::uint32_t last = 0;
  bool hasArp = true;

  // Subnet in dotted quad, slash and prefix.
  String toString() const;
  // How many addresses a host may have; not those of the network itself and of the broadcast.
  std::uint64_t size() const;
};

// An address in host byte order as people write it.
String dottedQuad(std::uint32_t address);

// What the kernel knows, in its order and each network once; without loopback.
std::vector<Network> connectedNetworks();

// The addresses of a network that hosts may have, in ascending order, without this machine's own: those within the
// range, and at most so many of them.
std::vector<std::uint32_t> hostAddresses(const Network& network, std::uint32_t first, std::uint32_t last,
                                         std::size_t limit);

}  // namespace HostSweep
