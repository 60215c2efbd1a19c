// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>

#include "program/TextTable.h"
#include "tools/servicescan/Probe.h"

namespace ServiceScan {

// Both print what came of all probes, in the order of the input. Whether the stream took it is for the caller to see.

// One JSON document, {"nodes": […]}, on one line.
void printJson(const Targets& targets, std::FILE* stream);
// One line a host, for people; nothing when there is none.
void printTable(const Targets& targets, const TableStyle& style, std::FILE* stream);

}  // namespace ServiceScan
