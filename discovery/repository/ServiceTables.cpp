// SPDX-License-Identifier: Apache-2.0
#include "discovery/repository/ServiceTables.h"

#include <iterator>
#include <utility>

namespace KX::NMS::Discovery {

void ServiceTables::share(KXStringHashTable<Service>& table) {
  constexpr std::size_t MOST_SERVICES = 16;
  if (table.isEmpty() || table.size() > MOST_SERVICES) return;
  std::uint32_t hash = 0;
  for (const auto& entry : std::as_const(table)) hash = hash * 31 + entry.value.port;
  KXStringHashTable<Service>& known = known_[(hash ^ hash >> 8U) % std::size(known_)];
  if (known == table) {
    table = known;
  } else {
    known = table;
  }
}

}  // namespace KX::NMS::Discovery
