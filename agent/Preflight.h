// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/String.h"

// What stands in the way of a scan before its first packet.
struct Preflight {
  String missing;  // one line; empty when nothing is
  bool isHopeless = false;
};

// Looks for the programs that a scan by hand runs, and for the rights that they need. The folders of the system's
// programs, which are not everybody's, join PATH, where the scan's commands are looked for too.
Preflight checkTools(bool isThorough);

// Where a program is that PATH leads to; empty when it is nowhere. A name with a slash is a path.
String findProgram(const String& name);
