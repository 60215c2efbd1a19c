// SPDX-License-Identifier: Apache-2.0
#include "agent/Complaint.h"

#include <cstdio>

#include "platform/text/Printable.h"

int complain(const String& reason, int exitStatus) {
  std::fprintf(stderr, "discovery-agent: %s\n", toPrintable(reason).c_str());
  return exitStatus;
}

void warn(const String& reason) { std::fprintf(stderr, "discovery-agent: warning: %s\n", toPrintable(reason).c_str()); }
