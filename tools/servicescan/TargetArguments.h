// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/XCode.h"
#include "tools/servicescan/Probe.h"

namespace ServiceScan {

// Reads the words of a command line: addresses and prefixes (192.0.2.0/24: every address of it but the network's own
// and its broadcast address), and services, which are asked of all of them; without any, all that there are. An error's
// text is the whole complaint.
[[nodiscard]] XCode readTargets(const std::vector<String>& words, Targets& targets);

}  // namespace ServiceScan
