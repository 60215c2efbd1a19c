// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "platform/text/OneLine.h"

namespace ServiceScan {

inline constexpr std::size_t MAX_MODEL_BYTES = 255;

// What a host says of itself, fit to be kept and shown.
inline String makeModel(std::string_view text) { return toOneLine(text, MAX_MODEL_BYTES); }

}  // namespace ServiceScan
