// SPDX-License-Identifier: Apache-2.0
#include "platform/text/Unseen.h"

#include <algorithm>
#include <array>

#include "platform/text/Utf8.h"

namespace {

struct Range {
  char32_t first;
  char32_t last;
};

// Control characters, Unicode's format characters without a glyph, its separators of lines and paragraphs, and what it
// lets programs ignore beside them. Variation selectors of the basic plane are left: they only choose between shapes of
// the character that they follow.
constexpr std::array<Range, 17> UNSEEN{{{0x00, 0x1f},
                                        {0x7f, 0x9f},
                                        {0xad, 0xad},
                                        {0x34f, 0x34f},
                                        {0x61c, 0x61c},
                                        {0x115f, 0x1160},
                                        {0x17b4, 0x17b5},
                                        {0x180e, 0x180e},
                                        {0x200b, 0x200f},
                                        {0x2028, 0x202e},
                                        {0x2060, 0x206f},
                                        {0x3164, 0x3164},
                                        {0xfeff, 0xfeff},
                                        {0xffa0, 0xffa0},
                                        {0xfff0, 0xfffb},
                                        {0x1d173, 0x1d17a},
                                        {0xe0000, 0xe0fff}}};

}  // namespace

bool startsWithControl(std::string_view text) {
  const char32_t character = decodeUtf8(text);
  return character < 0x20 || (character >= 0x7f && character < 0xa0);
}

bool startsWithUnseen(std::string_view text) {
  const char32_t character = decodeUtf8(text);
  const auto range = std::find_if(UNSEEN.begin(), UNSEEN.end(), [&](const Range& r) { return character <= r.last; });
  return range != UNSEEN.end() && character >= range->first;
}
