// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "platform/base/XCode.h"
#include "tools/servicescan/Probe.h"

namespace ServiceScan {

// Reads a file of one host a line: its address, then blank-separated services (see ServiceWord.h). Empty lines, and
// those that begin with "#", do not count; the file "-" is stdin. What cannot be asked ends here, unsuccessful with a
// reason, and complain is given a line for people; the error is that of reading the file.
[[nodiscard]] XCode readTargets(const String& path, const std::function<void(const String&)>& complain,
                                Targets& targets);

// Whether there are lines, and not one of them has something to ask for.
bool isAllWrong(const Targets& targets);

}  // namespace ServiceScan
