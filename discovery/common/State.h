// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/KXEnumInfo.h"

namespace KX::NMS::Discovery {

// The lifecycle of a job, a scheduled job or a scan. The names are those of the wire and of the log.
enum class State : std::uint32_t { IDLE = 0, RUNNING = 1, FAILED = 2, SUCCESSFUL = 3, CANCELLED = 4 };

// Ended one way or another: failed, successful or cancelled.
inline bool isFinished(State state) { return static_cast<std::uint32_t>(state) - 2U < 3U; }

}  // namespace KX::NMS::Discovery

template <>
const char* KXEnumInfo<KX::NMS::Discovery::State>::VALUE_NAME(KX::NMS::Discovery::State value);
