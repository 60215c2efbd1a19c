// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace DeviceDiscovery::Responder {

// A line on stderr. It never holds a key.
[[gnu::format(printf, 1, 2)]] void log(const char* format, ...);

}  // namespace DeviceDiscovery::Responder
