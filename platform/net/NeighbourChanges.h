// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "platform/base/Export.h"
#include "platform/base/XCode.h"
#include "platform/net/NeighbourTable.h"

// What changes in the kernel's table of IPv4 neighbours, of the network namespace in which this was opened, as the
// kernel tells it from then on. Takes no rights and never blocks.
class KX_EXPORT NeighbourChanges {
 public:
  NeighbourChanges() = default;
  NeighbourChanges(const NeighbourChanges&) = delete;
  NeighbourChanges& operator=(const NeighbourChanges&) = delete;
  ~NeighbourChanges();

  [[nodiscard]] XCode open();
  // Readable when there is something to receive; valid while open.
  int descriptor() const;
  // Adds what has come since, oldest first. False when the kernel had more to tell than could be held: then the table
  // must be read anew.
  bool receive(std::vector<Neighbour>& changed);

 private:
  mnl_socket* socket_ = nullptr;
};
