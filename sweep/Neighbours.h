// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/net/NeighbourTable.h"

namespace HostSweep {

// What a scan may take of the kernel's table of IPv4 neighbours. It holds 1,024 by default, and a packet to one more is
// dropped after a successful send, so a scan takes up only the room that there is and gives back what it has used. It
// reads the table's limits and changes none. Where the kernel cannot be asked, the default limits are taken for
// granted.
class Neighbours {
 public:
  Neighbours();
  Neighbours(const Neighbours&) = delete;
  Neighbours& operator=(const Neighbours&) = delete;
  virtual ~Neighbours() = default;

  // How many more neighbours the table has room for; some of it is left to others.
  virtual std::size_t room() const { return room_; }
  // Measures that again.
  virtual void measure();
  // Takes these addresses out of the table, except those that an administrator has entered; the others' entries stay.
  // False when that is not allowed here.
  virtual bool drop(const std::vector<std::uint32_t>& addresses);

 private:
  NeighbourTable table_;
  std::size_t room_;
  bool isAllowed_ = true;
};

}  // namespace HostSweep
