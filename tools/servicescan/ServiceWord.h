// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "tools/servicescan/Probe.h"

namespace ServiceScan {

// A service as it is written in a file and on a command line: its name, and behind a colon its port. Without a port it
// is the service's usual one; that of "ping" is not used, and may be anything.

// A probe with name, port and service. Where the word is none it has ended, with a reason.
Probe readService(std::string_view word);

// Whether the word begins like one of the services that can be asked for.
bool isService(std::string_view word);

// All services, each at its usual port.
std::vector<Probe> usualServices();

}  // namespace ServiceScan
