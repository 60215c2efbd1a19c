// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "platform/base/String.h"

namespace ServiceScan {

inline constexpr std::size_t MAX_MODEL_BYTES = 255;

// What a host says of itself as one line of valid UTF-8, at most MAX_MODEL_BYTES long and never cut inside a character:
// control characters become blanks, and blanks around the text go.
String makeModel(std::string_view text);

}  // namespace ServiceScan
