// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "sweep/Neighbours.h"

namespace HostSweep {

// Lets no more hosts of a list be asked at a time than the kernel's neighbour table has room for, and gives back the
// room of those that have nothing to say any more. A list that fits is not held up, and the table then left alone.
// Times are milliseconds of a clock that nobody sets.
class Slices {
 public:
  // What is known of a host that has ended, which tells when the kernel gives back its room by itself where this
  // process may not.
  enum class Host { SPOKE, SILENT };

  explicit Slices(Neighbours& neighbours) : neighbours_(neighbours) {}
  Slices(const Slices&) = delete;
  Slices& operator=(const Slices&) = delete;

  // So many hosts will be asked. What an earlier scan has left of these addresses in the table makes way first, if it
  // has to.
  void plan(std::size_t hosts, const std::vector<std::uint32_t>& addresses);
  bool isSliced() const { return isSliced_; }
  // Whether the host of that number, counted in the order of asking, may be asked by now.
  bool allows(std::size_t number) const { return !isSliced_ || number < released_ + neighbours_.room(); }
  // No packet goes to this host after silentFrom.
  void ended(std::uint32_t address, Host host, std::int64_t silentFrom);
  // Gives back the room of the hosts that are silent by now, if there are at least so many.
  void giveBack(std::int64_t now, std::size_t least);

 private:
  struct Ended {
    std::int64_t silentFrom;
    std::uint32_t address;
    Host host;
  };

  Neighbours& neighbours_;
  std::vector<Ended> ended_;  // and still in the table
  std::size_t released_ = 0;
  bool isSliced_ = false;
};

}  // namespace HostSweep
