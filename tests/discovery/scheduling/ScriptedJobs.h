// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/discovery/scheduling/TestJob.h"

namespace KX::NMS::Discovery {

// In this executable every scan type but those that begin with "unknown" makes a TestJob, and the cron library can be
// told what to answer. A test resets it first.
struct ScriptedJobs {
  // The jobs made, and every attempt: "type id.number".
  static std::vector<KXPtr<TestJob>> made;
  static std::vector<std::string> attempts;
  // While set, cron_parse_expr fails with this text.
  static const char* cronError;
  // While set, no expression has a next match.
  static bool cronNeverMatches;

  static void reset();
  static KXPtr<TestJob> last() { return made.empty() ? nullptr : made.back(); }
};

}  // namespace KX::NMS::Discovery
