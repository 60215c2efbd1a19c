// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/XCode.h"
#include "tools/client/Devices.h"

namespace DeviceDiscovery::Client {

// Asks on an interface and waits for answers, then for the kernel to know who has answered; within the time, whatever
// the devices do. An error when nothing could be asked; a LAN without devices is none.
[[nodiscard]] XCode discover(const String& interface, std::uint32_t timeoutMs, Devices& devices);

}  // namespace DeviceDiscovery::Client
