// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/monitor/InfoContainer.h"
#include "platform/property/Value.h"

namespace KX::NMS::Discovery {

// A network service found on a node: its name, which is also the key under which the node keeps it, and its port, 0
// when unknown.
struct Service {
  String name;
  std::uint16_t port = 0;

  bool operator==(const Service& other) const { return port == other.port && name == other.name; }

  // {"port": number}
  Property::Value toPropertyValue() const;
  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const;
};

}  // namespace KX::NMS::Discovery
