// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace KX::Shell {

// The bounds of a command; 0 is none. Past one its whole process group is killed and its end is an error that names the
// bound. outputBytes counts what it prints on stdout and stderr together.
struct ProcessLimits {
  std::uint32_t runSeconds = 6 * 60 * 60;
  std::uint64_t outputBytes = 16 * 1024 * 1024;
  // The run time of a command that is waited for.
  std::uint32_t executeSeconds = 30;
};

}  // namespace KX::Shell
