// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/base/Export.h"
#include "platform/base/String.h"

// UTF-8 as Unicode defines it: no overlong forms, no surrogates, nothing above U+10FFFF. NUL is a character.

// What stands for bytes that are no UTF-8: U+FFFD.
inline constexpr std::string_view UTF8_REPLACEMENT = "\xef\xbf\xbd";

// What a text starts with: a character of the length, or as many bytes as one replacement stands for. Those are the
// start of a character up to the byte that breaks it, so that one damaged character gives one replacement; any other
// byte stands alone.
struct Utf8Step {
  unsigned length;
  bool valid;
};

// The text is not empty.
KX_EXPORT Utf8Step nextUtf8(std::string_view text);

// The character that the text starts with; U+FFFD where it starts with none. The text is not empty.
char32_t decodeUtf8(std::string_view text);

// Where the first byte is that belongs to no character; the text's size when there is none.
std::size_t validUtf8Prefix(std::string_view text);

KX_EXPORT bool isValidUtf8(std::string_view text);

// The text with every byte sequence that is no UTF-8 replaced.
KX_EXPORT String toValidUtf8(std::string_view text);
