// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/KXEnumInfo.h"

namespace KX::NMS::Discovery {

// Whether a node answered its last status scan. The names are those of the wire.
enum class NodeStatus : std::uint32_t { UNKNOWN = 0, DOWN = 1, UP = 2 };

}  // namespace KX::NMS::Discovery

template <>
const char* KXEnumInfo<KX::NMS::Discovery::NodeStatus>::VALUE_NAME(KX::NMS::Discovery::NodeStatus value);
