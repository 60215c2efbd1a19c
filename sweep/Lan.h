// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "platform/net/NeighbourTable.h"

namespace HostSweep {

// The network that a sweep asks, as the kernel offers it; a test puts its own in its place. No call waits.
class Lan {
 public:
  // What has been heard since the last call, oldest first.
  struct Heard {
    std::vector<Neighbour> neighbours;  // as the kernel's table has them by now
    std::vector<std::uint32_t> alive;   // have sent a refusal, in host byte order
  };

  Lan() = default;
  Lan(const Lan&) = delete;
  Lan& operator=(const Lan&) = delete;
  virtual ~Lan() = default;

  // Sends a datagram to the address, which makes the kernel ask for it by ARP where it does not know it. False when the
  // system has no room for one more at present.
  virtual bool ask(std::uint32_t address) = 0;
  // What the kernel knows at present.
  virtual std::vector<Neighbour> known() = 0;
  virtual Heard listen() = 0;
  // Whether this process may make the kernel forget.
  virtual bool mayForget() const = 0;
  // Makes the kernel forget what it knows of the address, so that it asks anew.
  virtual void forget(std::uint32_t address) = 0;
};

}  // namespace HostSweep
