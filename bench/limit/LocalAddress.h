// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <netinet/in.h>

namespace Limit {

// The address that packets to that address leave from. Throws std::runtime_error.
in_addr localAddressFor(in_addr target);

}  // namespace Limit
