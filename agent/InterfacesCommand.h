// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "agent/Options.h"

// Prints the device's IP interfaces, and for each whether a scan takes it and why. Sends nothing. Returns the exit
// status.
int interfacesCommand(const Options& options);
