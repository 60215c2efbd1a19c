// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "platform/property/Value.h"
#include "platform/time/Clock.h"

namespace KX::NMS::Discovery {

// Whether jobs of this type exist: "node", "service", "status" and "sequence", compared exactly.
bool isScanType(std::string_view type);

// Whether a job description's scan part can be used. Only what no scan could use is refused: missing ids, unknown scan
// types and unknown keys are handled where the job is prepared or invoked. The items of "jobs" obey the same rules.
[[nodiscard]] XCode validateJobDescriptionWhat(const Property::Value& description);

// Reads a job description's "schedule": a cron specification of six fields (second first) or five, in UTC, or an object
// with "cron" and "firstRun" ("now" or an RFC 3339 time), at least one of them. Gives the cron specification in its
// six-field form, empty for a job that runs once, and the first run: firstRun where given, else the next match. On an
// error both are left untouched.
[[nodiscard]] XCode validateJobDescriptionWhen(const Property::Value& description, String& cronSpecification,
                                               Clock& nextRun);

}  // namespace KX::NMS::Discovery
