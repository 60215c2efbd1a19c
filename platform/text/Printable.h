// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "platform/base/Export.h"
#include "platform/base/String.h"

// The text as one line that is safe to show on a terminal or to keep in a file: bytes that are no UTF-8 are replaced,
// and control characters, line ends among them, are escaped as in "\n", "\x1b" and "\u009b". So are characters that
// nobody sees, as in "\u202e" and "\U000e0041": with them a text would pass for another one. A backslash stays as it
// is, so the result is for people and cannot be read back.
KX_EXPORT String toPrintable(std::string_view text);
