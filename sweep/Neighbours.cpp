// SPDX-License-Identifier: Apache-2.0
#include "sweep/Neighbours.h"

#include <algorithm>

namespace HostSweep {
namespace {

constexpr std::size_t DEFAULT_LIMIT = 1024;
// However full the table is: the kernel makes room itself, if more slowly.
constexpr std::size_t LEAST_ROOM = 128;

}  // namespace

Neighbours::Neighbours() : room_(DEFAULT_LIMIT) { Neighbours::measure(); }

void Neighbours::measure() {
  const auto [limit, entries] = table_.usage().value_or(NeighbourTable::Usage{DEFAULT_LIMIT, 0});
  const std::size_t reserve = limit / 64;
  room_ = std::max(LEAST_ROOM, limit - reserve - std::min(entries, limit - reserve));
}

bool Neighbours::drop(const std::vector<std::uint32_t>& addresses) {
  if (!isAllowed_) return false;
  std::vector<std::uint32_t> sorted = addresses;
  std::sort(sorted.begin(), sorted.end());
  for (const Neighbour& neighbour : table_.neighbours()) {
    if (neighbour.isFixed || !std::binary_search(sorted.begin(), sorted.end(), neighbour.address)) continue;
    isAllowed_ = table_.remove(neighbour);
    if (!isAllowed_) return false;
  }
  return true;
}

}  // namespace HostSweep
