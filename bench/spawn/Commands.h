// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>

// The ways to run a command that are compared. Each runs it to its end and returns how many bytes it printed.
// `arguments` begins with the program's path and ends with a null pointer.
using Arguments = const char* const*;

std::size_t runWithRunner(Arguments arguments);
std::size_t runWithLibuv(Arguments arguments);
