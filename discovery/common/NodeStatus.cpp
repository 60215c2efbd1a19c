// SPDX-License-Identifier: Apache-2.0
#include "discovery/common/NodeStatus.h"

using KX::NMS::Discovery::NodeStatus;

template <>
const char* KXEnumInfo<NodeStatus>::VALUE_NAME(NodeStatus value) {
  switch (value) {
    case NodeStatus::UNKNOWN:
      return "unknown";
    case NodeStatus::DOWN:
      return "down";
    case NodeStatus::UP:
      return "up";
  }
  return nullptr;
}
