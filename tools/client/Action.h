// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/XCode.h"
#include "tools/protocol/PskFile.h"

namespace DeviceDiscovery::Client {

// A request that changes something on one device.
struct Action {
  std::uint32_t device = 0;  // in host byte order
  const char* path = "";
  String payload;  // JSON, or empty
  PreSharedKey preSharedKey;
  std::uint32_t timeoutMs = 0;
};

// Asks the device, over DTLS when the pre-shared key is set and never without it then. Success when the device says so
// within the time. An error's text names no payload and nothing that the device has sent but its code.
[[nodiscard]] XCode perform(const Action& action);

}  // namespace DeviceDiscovery::Client
