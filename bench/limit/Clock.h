// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace Limit {

using Clock = std::chrono::steady_clock;

inline constexpr Clock::duration TIMEOUT = std::chrono::seconds(1);
inline constexpr unsigned TRIES = 2;
// A connection is tried once, and has the time of all tries.
inline constexpr Clock::duration CONNECTION_TIMEOUT = TIMEOUT * TRIES;

}  // namespace Limit
