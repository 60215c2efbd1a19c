// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "platform/base/String.h"
#include "platform/base/XCode.h"

namespace DeviceDiscovery {

// The key under which a device is to join an organisation, and the server where. The key is a secret: no error text
// here holds any of what was read.
struct Organisation {
  String key;
  String server;  // empty when none was named

  // KEY or KEY:SERVER. The key ends at the first colon; the server may hold further ones.
  [[nodiscard]] XCode fromArgument(std::string_view text);
  [[nodiscard]] XCode fromJson(std::string_view text);
  String toJson() const;
  // Two lines, the key and the server, as they are stored and handed to the device maker's program.
  String toLines() const;

 private:
  XCode check() const;
};

}  // namespace DeviceDiscovery
