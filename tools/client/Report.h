// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>

#include "tools/client/Devices.h"

namespace DeviceDiscovery::Client {

// Both print the devices by ascending address. Whether the stream took it is for the caller to see.

// One JSON document, {"nodes": […]}, on one line.
void printJson(const Devices& devices, std::FILE* stream);
// One line a device, for people.
void printTable(const Devices& devices, std::FILE* stream);

}  // namespace DeviceDiscovery::Client
