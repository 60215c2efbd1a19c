// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/repository/Service.h"
#include "platform/base/KXStringHashTable.h"

namespace KX::NMS::Discovery {

// Makes the "services" member of nodes: one member for each service, by its name. Most devices of a kind offer the same
// services, so the objects made last are kept for tables that are equal to theirs; the values share their contents. It
// lives for one export, during which no table changes or goes.
class WireServices {
 public:
  Property::Value get(const KXStringHashTable<Service>& services);

 private:
  struct Made {
    const KXStringHashTable<Service>* services = nullptr;
    Property::Value value;
  };

  Made made_[64];
};

}  // namespace KX::NMS::Discovery
