// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/Export.h"
#include "platform/base/XCode.h"
#include "platform/property/Value.h"

namespace KX::NMS {

// What a service speaks through. Messages go out in the order in which they are sent; success means that the message
// was taken, not that the peer has read it. A channel never calls back into the service from inside sendMessage.
class KX_EXPORT IChannel {
 public:
  virtual ~IChannel() = default;
  virtual XCode sendMessage(const KX::Property::Value& message) = 0;
};

}  // namespace KX::NMS
