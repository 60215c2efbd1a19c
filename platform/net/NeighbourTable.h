// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/base/Export.h"
#include "platform/base/String.h"

struct mnl_socket;

// A hardware address of Ethernet's kind.
using MacAddress = std::array<std::uint8_t, 6>;

// In upper case, as in "02:00:5E:00:00:0A".
KX_EXPORT String toString(const MacAddress& address);

struct Neighbour {
  std::uint32_t address = 0;  // in host byte order
  int interface = 0;
  // None while the kernel is still asking for it, or was not answered.
  std::optional<MacAddress> macAddress;
  // Entered by an administrator, or on a link without such addresses.
  bool isFixed = false;
  // Has answered so lately that the kernel does not doubt it.
  bool isReachable = false;
};

// The kernel's table of IPv4 neighbours, of the network namespace in which this was created. Each operation asks the
// kernel anew and waits for its answer, which comes at once, for a second at most. Where it cannot be asked the table
// is empty.
class KX_EXPORT NeighbourTable {
 public:
  struct Usage {
    std::size_t limit;  // a packet to one more neighbour is dropped after a successful send
    std::size_t entries;
  };

  NeighbourTable();
  NeighbourTable(const NeighbourTable&) = delete;
  NeighbourTable& operator=(const NeighbourTable&) = delete;
  ~NeighbourTable();

  std::optional<Usage> usage();
  std::vector<Neighbour> neighbours();
  // False when that is not allowed here; an entry that has gone meanwhile is what was wanted.
  bool remove(const Neighbour& neighbour);

 private:
  mnl_socket* socket_ = nullptr;
  unsigned sequence_ = 0;
};
