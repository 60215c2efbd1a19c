// SPDX-License-Identifier: Apache-2.0
#include "discovery/repository/WireObjects.h"

#include <iterator>

namespace KX::NMS::Discovery {
namespace {

using Services = KXStringHashTable<Service>;

bool isSame(const Services& left, const Services& right) {
  if (left.isSharedWith(right)) return true;
  if (left.size() != right.size()) return false;
  auto other = right.begin();
  for (const auto& entry : left) {
    if (entry.value.port != other->value.port || !(entry.value.name == other->value.name)) return false;
    ++other;
  }
  return true;
}

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
  if (made.services == nullptr || !isSame(services, *made.services)) made = {&services, make(services)};
  return made.value;
}

}  // namespace KX::NMS::Discovery
