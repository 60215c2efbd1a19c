// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace Limit {

// Runs a command with posix_spawn and one pipe, reads all that it prints and waits for its end: the least that there is
// to do. `arguments` begins with the program's path and ends with a null pointer. Returns the bytes that were printed.
std::size_t runRawCommand(const char* const* arguments);

}  // namespace Limit
