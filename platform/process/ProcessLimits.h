// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace KX::Shell {

// The bounds of a command; 0 is none. Past one its whole process group is killed and its end is an error that names the
// bound.
struct ProcessLimits {
  std::uint32_t runSeconds = 6 * 60 * 60;
  // Of what it prints on stdout. As much error output is handed on; what follows is read and dropped.
  std::uint64_t outputBytes = 16 * 1024 * 1024;
  // The run time of a command that is waited for, where runSeconds is not less.
  std::uint32_t executeSeconds = 30;
};

}  // namespace KX::Shell
