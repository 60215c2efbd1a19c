// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "platform/base/StringBuilder.h"

namespace {

using KX::StringBuilder;

TEST(StringBuilder, AnEmptyOneGivesTheEmptyString) {
  StringBuilder builder;
  EXPECT_EQ(builder.length(), 0U);
  EXPECT_EQ(builder.take(), "");
}

TEST(StringBuilder, PutsPiecesOneBehindTheOther) {
  StringBuilder builder;
  builder.append('a');
  builder.append("bc");
  builder.append(3, '-');
  builder.append(std::string_view());
  EXPECT_EQ(builder.length(), 6U);
  EXPECT_EQ(builder.take(), "abc---");
}

TEST(StringBuilder, GrowsToAnyLength) {
  for (const std::size_t length : {511U, 512U, 513U, 1000U, 100000U, 1000000U}) {
    StringBuilder builder;
    std::string expected;
    while (expected.size() < length) {
      const auto c = static_cast<char>('a' + expected.size() % 26);
      builder.append(c);
      expected += c;
    }
    EXPECT_EQ(builder.take(), std::string_view(expected));
  }
}

TEST(StringBuilder, TakesAPieceLargerThanAllBefore) {
  const std::string large(100000, 'x');
  StringBuilder builder;
  builder.append("ab");
  builder.append(large);
  EXPECT_EQ(builder.take(), std::string_view("ab" + large));
}

TEST(StringBuilder, RoomMayBeUsedInPart) {
  StringBuilder builder;
  char* room = builder.room(2000);
  room[0] = 'x';
  builder.written(room + 1);
  builder.append('y');
  EXPECT_EQ(builder.take(), "xy");
}

TEST(StringBuilder, IsEmptyAgainOnceTaken) {
  StringBuilder builder;
  builder.append(5000, 'x');
  EXPECT_EQ(builder.take().length(), 5000U);
  EXPECT_EQ(builder.length(), 0U);
  builder.append("next");
  EXPECT_EQ(builder.take(), "next");
}

TEST(StringBuilder, WhatItGivesGrowsAndSharesLikeEveryString) {
  StringBuilder builder;
  builder.append(5000, 'x');
  String text = builder.take();
  const String copy = text;
  text.append("y");
  EXPECT_EQ(copy.length(), 5000U);
  EXPECT_EQ(text.length(), 5001U);
  EXPECT_EQ(text.c_str()[5001], '\0');
}

TEST(StringBuilder, WhatIsNotTakenIsFreed) {
  StringBuilder builder;
  builder.append(5000, 'x');
}

}  // namespace
