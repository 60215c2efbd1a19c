// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "platform/text/OneLine.h"
#include "platform/text/Utf8.h"

namespace {

constexpr std::size_t MANY = 100;

TEST(OneLineTest, AnOrdinaryTextStaysAsItIs) {
  EXPECT_EQ(toOneLine("Router 7, build 1.2", MANY), "Router 7, build 1.2");
  EXPECT_EQ(toOneLine("T\u00e9l\u00e9phone \u96fb\u8a71", MANY), "T\u00e9l\u00e9phone \u96fb\u8a71");
}

TEST(OneLineTest, BlanksAroundItGo) {
  EXPECT_EQ(toOneLine(" \t\r\n Router \n\n", MANY), "Router");
  EXPECT_EQ(toOneLine(" \r\n ", MANY), "");
  EXPECT_EQ(toOneLine("", MANY), "");
}

TEST(OneLineTest, ControlCharactersBecomeBlanks) {
  EXPECT_EQ(toOneLine(std::string_view("a\0b\x1b[2Jc\x7f\xc2\x9f"
                                       "d",
                                       12),
                      MANY),
            "a b [2Jc  d");
}

TEST(OneLineTest, CharactersThatNobodySeesBecomeBlanks) { EXPECT_EQ(toOneLine("\ufeffa\u202eb\u2028", MANY), "a b"); }

TEST(OneLineTest, WhatIsNoUtf8IsReplaced) { EXPECT_EQ(toOneLine("R\xe9seau", MANY), "R\xef\xbf\xbdseau"); }

TEST(OneLineTest, ALongTextIsCutBetweenCharacters) {
  EXPECT_EQ(toOneLine("abcdef", 4), "abcd");
  EXPECT_EQ(toOneLine("abc\u00e9", 4), "abc");
  EXPECT_EQ(toOneLine("abc def", 4), "abc");
  EXPECT_TRUE(isValidUtf8(toOneLine(std::string(1000, '\xff'), MANY)));
  EXPECT_EQ(toOneLine(std::string(1000, '\xff'), MANY).length(), 99U);
}

}  // namespace
