// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace ServiceScan {

// A number that nobody else on the network can guess.
std::uint64_t makeCookie();

}  // namespace ServiceScan
