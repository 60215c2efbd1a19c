// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/XCode.h"

// What happens to writes where the caller has left stdout or stderr closed.
enum class ClosedOutput {
  DISCARDS,  // they vanish: for a program whose work goes on without a reader
  FAILS      // they fail, as they would have: for one whose work is what it prints
};

// Called by a program before it opens anything. Standard descriptors that its caller left closed become /dev/null, so
// that no later descriptor takes their numbers and gets messages or log lines. SIGPIPE is ignored from here on, so that
// a reader who is gone is an error of the write; whoever starts child processes gives them the default back.
[[nodiscard]] XCode prepareStandardDescriptors(ClosedOutput closedOutput);
