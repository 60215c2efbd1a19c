// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/repository/Service.h"
#include "platform/base/KXStringHashTable.h"
#include "platform/property/Slab.h"

namespace KX::NMS::Discovery {

// What the wire objects of many nodes have in common: the memory that they are cut from, and "services" members. Most
// devices of a kind offer the same services, so the members made last are kept for tables that are equal to theirs; the
// values share their contents. It lives for one export, during which no table changes or goes.
class WireObjects {
 public:
  // An empty object with room for so many members.
  Property::Value object(std::size_t members) { return Property::Value::object(members, slab_); }
  // One member for each service, by its name.
  Property::Value services(const KXStringHashTable<Service>& services);

 private:
  struct Made {
    const KXStringHashTable<Service>* services = nullptr;
    Property::Value value;
  };

  Property::Slab slab_;
  Made made_[64];
};

}  // namespace KX::NMS::Discovery
