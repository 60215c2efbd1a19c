// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>

#include "tools/client/Devices.h"

namespace DeviceDiscovery::Client {

// Both print the devices by ascending address and return false when the stream takes no more.

// One JSON document, {"nodes": […]}, on one line.
bool printJson(const Devices& devices, std::FILE* stream);
// One line a device, for people.
bool printTable(const Devices& devices, std::FILE* stream);

}  // namespace DeviceDiscovery::Client
