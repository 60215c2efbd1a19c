// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/base/Export.h"
#include "platform/base/String.h"

// What another device says of itself as one line of valid UTF-8, at most so many bytes long and never cut inside a
// character: control characters and others that nobody sees become blanks, and blanks around the text go.
KX_EXPORT String toOneLine(std::string_view text, std::size_t maximumBytes);
