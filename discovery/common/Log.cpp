// SPDX-License-Identifier: Apache-2.0
#include "discovery/common/Log.h"

namespace KX::NMS::Discovery {

RTD::Monitor* MON = nullptr;

}  // namespace KX::NMS::Discovery
