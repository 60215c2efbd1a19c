// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "agent/Options.h"

// Serves the management server until a signal or the end of input. Returns the exit status.
int runCommand(const Options& options);
