// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "agent/Options.h"

// Scans once, with progress on a terminal, and prints the nodes found. Returns the exit status.
int scanCommand(const Options& options);
