// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "platform/base/String.h"

namespace DeviceDiscovery {

// What a device says of itself.
struct Description {
  String model;
  String build;
  bool supportsOnboarding = false;

  String toJson() const;
  // Reads what a device has sent, whatever that is. The texts are one line of valid UTF-8 each, of at most
  // MAX_TEXT_BYTES; a member that is missing or of another type is empty. False when it is no JSON object.
  bool fromJson(std::string_view text);
};

}  // namespace DeviceDiscovery
