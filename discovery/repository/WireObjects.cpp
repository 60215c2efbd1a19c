// SPDX-License-Identifier: Apache-2.0
#include "discovery/repository/WireObjects.h"

#include <iterator>

namespace KX::NMS::Discovery {
namespace {

using Services = KXStringHashTable<Service>;

Property::Value make(const Services& services) {
  Property::Value value = Property::Value::object(services.size());
  for (const auto& entry : services) value[entry.value.name] = entry.value.toPropertyValue();
  return value;
}

}  // namespace

Property::Value WireObjects::services(const Services& services) {
  std::size_t slot = 0;
  for (const auto& entry : services) slot = slot * 31 + entry.value.port;
  Made& made = made_[(slot ^ slot >> 8U) % std::size(made_)];
  if (made.services == nullptr || !(services == *made.services)) made = {&services, make(services)};
  return made.value;
}

}  // namespace KX::NMS::Discovery
