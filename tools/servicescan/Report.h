// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>

#include "tools/servicescan/Probe.h"

namespace ServiceScan {

// Both print what came of all probes, in the order of the input, and return false when the stream takes no more.

// One JSON document, {"nodes": […]}, on one line.
bool printJson(const Targets& targets, std::FILE* stream);
// One line a host, for people.
bool printTable(const Targets& targets, std::FILE* stream);

}  // namespace ServiceScan
