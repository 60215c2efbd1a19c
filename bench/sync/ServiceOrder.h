// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/base/String.h"

// Services stand in an answer in the order of the library's service tables: ascending by this, and among equals as in
// the request.
inline std::uint32_t serviceOrder(std::string_view name) { return kxHash(name) % 16; }
