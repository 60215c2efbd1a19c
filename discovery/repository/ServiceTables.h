// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/repository/Service.h"
#include "platform/base/KXStringHashTable.h"

namespace KX::NMS::Discovery {

// The service tables that nodes got last, so that nodes that offer the same share the memory of one table: most devices
// of a kind do.
class ServiceTables {
 public:
  // Lets the table share with an equal one that is known, or makes it known. A large table is left alone.
  void share(KXStringHashTable<Service>& table);

 private:
  KXStringHashTable<Service> known_[64];
};

}  // namespace KX::NMS::Discovery
