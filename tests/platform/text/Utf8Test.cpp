// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "platform/text/Utf8.h"

namespace {

constexpr const char* R = "\xef\xbf\xbd";

std::string replaced(std::string_view text) { return std::string(toValidUtf8(text).view()); }

TEST(Utf8, AcceptsTheFirstAndTheLastCharacterOfEveryLength) {
  EXPECT_TRUE(isValidUtf8(""));
  EXPECT_TRUE(isValidUtf8({"\0", 1}));
  EXPECT_TRUE(isValidUtf8("\x7f"));
  EXPECT_TRUE(isValidUtf8("\xc2\x80"));
  EXPECT_TRUE(isValidUtf8("\xdf\xbf"));
  EXPECT_TRUE(isValidUtf8("\xe0\xa0\x80"));
  EXPECT_TRUE(isValidUtf8("\xed\x9f\xbf"));
  EXPECT_TRUE(isValidUtf8("\xee\x80\x80"));
  EXPECT_TRUE(isValidUtf8("\xef\xbf\xbf"));
  EXPECT_TRUE(isValidUtf8("\xf0\x90\x80\x80"));
  EXPECT_TRUE(isValidUtf8("\xf4\x8f\xbf\xbf"));
}

TEST(Utf8, RefusesEveryClassOfInvalidBytes) {
  EXPECT_FALSE(isValidUtf8("\x80"));      // continuation without a start
  EXPECT_FALSE(isValidUtf8("\xc0\x80"));  // overlong, two bytes
  EXPECT_FALSE(isValidUtf8("\xc1\xbf"));
  EXPECT_FALSE(isValidUtf8("\xe0\x9f\xbf"));      // overlong, three bytes
  EXPECT_FALSE(isValidUtf8("\xf0\x8f\xbf\xbf"));  // overlong, four bytes
  EXPECT_FALSE(isValidUtf8("\xed\xa0\x80"));      // surrogates
  EXPECT_FALSE(isValidUtf8("\xed\xbf\xbf"));
  EXPECT_FALSE(isValidUtf8("\xf4\x90\x80\x80"));  // above U+10FFFF
  EXPECT_FALSE(isValidUtf8("\xf5\x80\x80\x80"));
  EXPECT_FALSE(isValidUtf8("\xfe"));
  EXPECT_FALSE(isValidUtf8("\xff"));
  EXPECT_FALSE(isValidUtf8("\xc3"));  // cut off
  EXPECT_FALSE(isValidUtf8("\xe2\x82"));
  EXPECT_FALSE(isValidUtf8("\xf0\x9f\x98"));
  EXPECT_FALSE(isValidUtf8("\xc3("));  // broken
}

TEST(Utf8, DecodesTheFirstAndTheLastCharacterOfEveryLength) {
  EXPECT_EQ(decodeUtf8({"\0", 1}), U'\0');
  EXPECT_EQ(decodeUtf8("\x7f!"), U'\x7f');
  EXPECT_EQ(decodeUtf8("\xc2\x80!"), U'\x80');
  EXPECT_EQ(decodeUtf8("\xdf\xbf"), U'\x7ff');
  EXPECT_EQ(decodeUtf8("\xe0\xa0\x80"), U'\x800');
  EXPECT_EQ(decodeUtf8("\xef\xbf\xbf"), U'\xffff');
  EXPECT_EQ(decodeUtf8("\xf0\x90\x80\x80"), U'\x10000');
  EXPECT_EQ(decodeUtf8("\xf4\x8f\xbf\xbf"), U'\x10ffff');
  EXPECT_EQ(decodeUtf8("\x80"), U'\xfffd');
  EXPECT_EQ(decodeUtf8("\xe2\x82z"), U'\xfffd');
}

TEST(Utf8, FindsTheFirstInvalidByteBehindWholeWordsOfText) {
  for (std::size_t length = 0; length < 40; ++length) {
    const std::string text(length, 'x');
    std::string invalid = text;
    invalid.append("\xff").append(text);
    EXPECT_EQ(validUtf8Prefix(invalid), length);
    std::string valid = text;
    valid.append("\xc3\xa4").append(text);
    EXPECT_EQ(validUtf8Prefix(valid), 2 * length + 2);
  }
}

TEST(Utf8, ReplacesADamagedCharacterOnceAndEveryStrayByte) {
  EXPECT_EQ(replaced("plain"), "plain");
  EXPECT_EQ(replaced("a\xc3\xa4z"), "a\xc3\xa4z");
  EXPECT_EQ(replaced("a\xff"
                     "b"),
            std::string("a") + R + "b");
  EXPECT_EQ(replaced("\xe2\x82z"), std::string(R) + "z");
  EXPECT_EQ(replaced("\xf0\x9f\x98"), std::string(R));
  EXPECT_EQ(replaced("\xc0\x80"), std::string(R) + R);
  EXPECT_EQ(replaced("\xed\xa0\x80"), std::string(R) + R + R);
  EXPECT_EQ(replaced("\xf4\x90\x80\x80"), std::string(R) + R + R + R);
  EXPECT_EQ(replaced({"\0\x80", 2}), std::string("\0", 1) + R);
}

TEST(Utf8, WhatWasReplacedIsValidWhateverItWas) {
  std::uint32_t random = 12345;
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (int i = 0; i < 12; ++i) {
      random = random * 1664525U + 1013904223U;
      // Mostly bytes from which characters are made.
      text += static_cast<char>((random >> 16U & 3U) == 0 ? random >> 24U : 0x80U | random >> 25U);
    }
    const String valid = toValidUtf8(text);
    ASSERT_TRUE(isValidUtf8(valid));
    ASSERT_EQ(valid == std::string_view(text), isValidUtf8(text));
  }
}

}  // namespace
