// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/Export.h"
#include "platform/property/Value.h"

namespace KX::NMS::Discovery {

// What a device that speaks for itself says of its model and build; empty without a model.
KX_EXPORT String modelOfDevice(const Property::Value& device);

}  // namespace KX::NMS::Discovery
