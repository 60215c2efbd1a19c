// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <clocale>

#include "program/TextWidth.h"

namespace {

TEST(TextWidthTest, CharactersCountAndNotTheirBytes) {
  EXPECT_EQ(displayWidth(""), 0U);
  EXPECT_EQ(displayWidth("abc"), 3U);
  EXPECT_EQ(displayWidth("J\xc3\xb6rg"), 4U);
  EXPECT_EQ(displayWidth("\xe2\x80\xa6"), 1U);
}

TEST(TextWidthTest, WideCharactersTakeTwoColumnsAndMarksNone) {
  EXPECT_EQ(displayWidth("\xe6\x97\xa5\xe6\x9c\xac"), 4U);
  EXPECT_EQ(displayWidth("e\xcc\x81"), 1U);
}

TEST(TextWidthTest, TheProgramsLocaleStaysAsItIs) {
  const std::string before = std::setlocale(LC_CTYPE, nullptr);
  EXPECT_EQ(displayWidth("\xe6\x97\xa5"), 2U);
  EXPECT_EQ(std::setlocale(LC_CTYPE, nullptr), before);
  EXPECT_EQ(MB_CUR_MAX, 1U);
}

TEST(TextWidthTest, ATextThatFitsStays) {
  EXPECT_EQ(fitToWidth("abc", 3), "abc");
  EXPECT_EQ(fitToWidth("e\xcc\x81", 1), "e\xcc\x81");
  EXPECT_EQ(fitToWidth("", 0), "");
}

TEST(TextWidthTest, AnEllipsisStandsForWhatIsCut) {
  EXPECT_EQ(fitToWidth("abcd", 3), "ab\xe2\x80\xa6");
  EXPECT_EQ(fitToWidth("abcd", 1), "\xe2\x80\xa6");
  EXPECT_EQ(fitToWidth("abcd", 0), "");
}

TEST(TextWidthTest, NoCharacterIsCutInTwo) {
  const String text("\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e");
  EXPECT_EQ(fitToWidth(text, 6), text);
  EXPECT_EQ(fitToWidth(text, 5), "\xe6\x97\xa5\xe6\x9c\xac\xe2\x80\xa6");
  EXPECT_EQ(fitToWidth(text, 4), "\xe6\x97\xa5\xe2\x80\xa6");
}

}  // namespace
