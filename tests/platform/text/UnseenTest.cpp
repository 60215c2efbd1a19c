// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string_view>

#include "platform/text/Unseen.h"

namespace {

TEST(UnseenTest, ControlCharactersAreThoseOfBothSets) {
  for (const std::string_view text :
       {std::string_view("\0", 1), std::string_view("\x1f"), std::string_view("\x7f"), std::string_view("\u0080"),
        std::string_view("\u0085"), std::string_view("\u009f")}) {
    EXPECT_TRUE(startsWithControl(text));
    EXPECT_TRUE(startsWithUnseen(text));
  }
  for (const char* text : {" ", "~", "a\n", "\u00a0", "\u200b", "\u202e", "\x80", "\xc2"}) {
    EXPECT_FALSE(startsWithControl(text)) << text;
  }
}

TEST(UnseenTest, WhatTurnsTextAroundIsUnseen) {
  for (const char* text : {"\u061c", "\u200e", "\u200f", "\u202a", "\u202b", "\u202c", "\u202d", "\u202e", "\u2066",
                           "\u2067", "\u2068", "\u2069"}) {
    EXPECT_TRUE(startsWithUnseen(text)) << text;
  }
}

TEST(UnseenTest, WhatHasNoWidthIsUnseen) {
  for (const char* text :
       {"\u00ad", "\u034f", "\u180e", "\u200b", "\u200c", "\u200d", "\u2028", "\u2029", "\u2060", "\u2064", "\u206f",
        "\u3164", "\ufeff", "\ufff9", "\ufffb", "\U0001d173", "\U000e0001", "\U000e007f", "\U000e0fff"}) {
    EXPECT_TRUE(startsWithUnseen(text)) << text;
  }
}

TEST(UnseenTest, WhatIsSeenIsNot) {
  for (const char* text :
       {"a",      "~",      " ",          "\u00a0",     "\u00ac",     "\u00ae",     "\u00e9", "\u0301",
        "\u0600", "\u200a", "\u2010",     "\u2027",     "\u202f",     "\u205f",     "\u2070", "\ufe0f",
        "\ufffc", "\ufffd", "\U0001f600", "\U000dffff", "\U000e1000", "\U0010ffff", "\xff",   "\xe2\x80"}) {
    EXPECT_FALSE(startsWithUnseen(text)) << text;
  }
}

}  // namespace
