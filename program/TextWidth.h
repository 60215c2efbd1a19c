// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/base/String.h"

// How many columns of a terminal a text takes, whatever the locale: the wide characters of East Asia take two, marks
// that join the character before them none. The text is valid UTF-8 without control characters.
std::size_t displayWidth(std::string_view text);

// The text, cut where it takes more columns than the width; an ellipsis stands for what was cut.
String fitToWidth(const String& text, std::size_t width);
