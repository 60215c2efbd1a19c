// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "platform/base/XCode.h"
#include "tools/servicescan/Probe.h"

namespace ServiceScan {

// Gives each probe a number of its own that nobody can guess, also not from those that others were asked with.
[[nodiscard]] XCode giveCookies(std::vector<Probe>& probes);

}  // namespace ServiceScan
