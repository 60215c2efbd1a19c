// SPDX-License-Identifier: Apache-2.0
#include "discovery/repository/Service.h"

namespace KX::NMS::Discovery {

Property::Value Service::toPropertyValue() const {
  Property::Value value = Property::Value::object(1);
  value["port"_s] = port;
  return value;
}

void Service::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
                      const String& title) const {
  if (level > maxLevel || column > maxColumn) return;
  container.add(level, column, String::format("%sService", title.c_str()), name);
  if (level + 1 > maxLevel) return;
  container.add(level + 1, column, "Port"_s, String::format("%u", unsigned{port}));
}

}  // namespace KX::NMS::Discovery
