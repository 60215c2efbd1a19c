// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>

#include "program/TextTable.h"
#include "tools/servicescan/Options.h"

namespace ServiceScan {

// Finds the hosts of the network, or of the part of a network, that the options name, and prints their addresses and
// MAC addresses in ascending order. An error when this machine is not connected to that network, when it has more
// addresses than the options allow, or when nothing could be asked.
[[nodiscard]] XCode sweepAndPrint(const Options& options, const TableStyle& style, std::FILE* stream);

}  // namespace ServiceScan
