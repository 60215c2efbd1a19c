// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/String.h"

// Says on stderr, in one line, why the program ends, and returns the exit status to end with: 1 for what cannot be
// opened or started, 2 for a command line that cannot be used.
int complain(const String& reason, int exitStatus);

// Says on stderr, in one line, what went wrong without keeping the program from its result.
void warn(const String& reason);
