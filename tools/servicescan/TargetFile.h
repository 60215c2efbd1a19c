// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "platform/base/XCode.h"
#include "tools/servicescan/Probe.h"

namespace ServiceScan {

// Reads a file of one host a line: its address, then blank-separated pairs of a service's name and a port. Empty lines
// are skipped. What cannot be asked ends here, unsuccessful with a reason, and complain is given a line for people; the
// error is that of reading the file.
[[nodiscard]] XCode readTargets(const String& path, const std::function<void(const String&)>& complain,
                                Targets& targets);

}  // namespace ServiceScan
