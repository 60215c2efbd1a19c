// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "platform/property/Value.h"

namespace KX::Property {

// Goes through a value in order and tells the visitor: leaf(value) for whatever has no items; enter(container), then
// for each item key(string, isFirst) or element(isFirst) in front of what the item itself is, and leave(container). It
// keeps what is open in a list, so that no depth is too deep.
template <class Visitor>
void walkValue(const Value& root, Visitor& visitor) {
  struct Open {
    const Value& container;
    std::size_t size;
    std::size_t next;
  };
  std::vector<Open> open;
  const Value* value = &root;
  for (;;) {
    if (value->isEmpty()) {
      visitor.leaf(*value);
    } else {
      visitor.enter(*value);
      open.push_back({*value, value->size(), 0});
    }
    while (!open.empty() && open.back().next == open.back().size) {
      visitor.leave(open.back().container);
      open.pop_back();
    }
    if (open.empty()) return;
    const std::size_t index = open.back().next++;
    if (open.back().container.isObject()) {
      const Member& member = open.back().container.members()[index];
      visitor.key(member.key, index == 0);
      value = &member.value;
    } else {
      visitor.element(index == 0);
      value = &open.back().container.elements()[index];
    }
  }
}

}  // namespace KX::Property
