// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/Export.h"
#include "platform/base/String.h"
#include "platform/base/XCode.h"

namespace KX::NMS {

// What a session writes its messages to: the sending half of one connection. The message is one JSON text in valid
// UTF-8 without a line end. A transport never calls back into the session from inside send: that a connection has
// failed is told later, in a turn of the loop.
class KX_EXPORT ITransport {
 public:
  virtual ~ITransport() = default;
  virtual XCode send(const String& message) = 0;
};

}  // namespace KX::NMS
