// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/XCode.h"
#include "tools/protocol/Organisation.h"

namespace DeviceDiscovery::Responder {

// What a device can be asked to do. An error is one of the device, and is logged and not sent.
class Actions {
 public:
  virtual ~Actions() = default;
  virtual bool canBlink() const = 0;
  [[nodiscard]] virtual XCode blink() = 0;
  [[nodiscard]] virtual XCode onboard(const Organisation& organisation) = 0;
};

}  // namespace DeviceDiscovery::Responder
