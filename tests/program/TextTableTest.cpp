// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "program/TextTable.h"
#include "program/TextWidth.h"

namespace {

using Rows = std::vector<std::vector<Cell>>;

std::string layOut(const std::vector<Column>& columns, const Rows& rows, const TableStyle& style = {}) {
  std::string text;
  for (const String& line : layOutTable(columns, rows, style)) {
    text.append(line.view()).append("\n");
    EXPECT_TRUE(style.colour || style.width == 0 || displayWidth(line) <= style.width) << line.c_str();
  }
  return text;
}

const std::vector<Column> COLUMNS{{"KEY"}, {"LONG", 4, 1}, {"LONGER", 4, 2}, {"STATE", 0, 3}};

TEST(TextTableTest, ColumnsAreAsWideAsTheirWidestText) {
  EXPECT_EQ(layOut(COLUMNS, {{{"a"}, {"b"}, {"c"}, {"d"}}, {{"aaaa"}, {}, {"ccccccccc"}, {}}}),
            "KEY   LONG  LONGER     STATE\n"
            "a     b     c          d\n"
            "aaaa        ccccccccc\n");
}

TEST(TextTableTest, ColumnsWithoutATextAreLeftOut) {
  EXPECT_EQ(layOut(COLUMNS, {{{"a"}, {}, {}, {"d"}}}), "KEY  STATE\na    d\n");
}

TEST(TextTableTest, ATableWithoutATextIsNoTable) {
  EXPECT_EQ(layOut(COLUMNS, {}), "");
  EXPECT_EQ(layOut(COLUMNS, {{{}, {}, {}, {}}}), "");
}

TEST(TextTableTest, TheWidestColumnsShrinkFirst) {
  const Rows rows{{{"a"}, {"bbbbbbbb"}, {"cccccccccccccccc"}, {"d"}}};
  EXPECT_EQ(layOut(COLUMNS, rows, {38}),
            "KEY  LONG      LONGER            STATE\n"
            "a    bbbbbbbb  cccccccccccccccc  d\n");
  EXPECT_EQ(layOut(COLUMNS, rows, {31}),
            "KEY  LONG      LONGER     STATE\n"
            "a    bbbbbbbb  cccccccc…  d\n");
  EXPECT_EQ(layOut(COLUMNS, rows, {28}),
            "KEY  LONG     LONGER   STATE\n"
            "a    bbbbbb…  cccccc…  d\n");
}

TEST(TextTableTest, WhatIsTheSameInEveryRowGoesBeforeATextIsCut) {
  const std::vector<Column> columns{{"KEY"}, {"SAME", 0, 1}, {"TEXT", 4, 2}, {"STATE", 0, 3, true}};
  const Rows rows{{{"a"}, {"eth0"}, {"cccccccc"}, {"up"}}, {{"b"}, {"eth0"}, {"dddddddd"}, {"up"}}};
  EXPECT_EQ(layOut(columns, rows, {26}),
            "KEY  SAME  TEXT      STATE\na    eth0  cccccccc  up\nb    eth0  dddddddd  up\n");
  EXPECT_EQ(layOut(columns, rows, {25}), "KEY  TEXT      STATE\na    cccccccc  up\nb    dddddddd  up\n");
  EXPECT_EQ(layOut(columns, rows, {18}), "KEY  TEXT    STATE\na    ccccc…  up\nb    ddddd…  up\n");
}

TEST(TextTableTest, OneRowHasNoConstants) {
  EXPECT_EQ(layOut({{"KEY"}, {"X", 0, 1}, {"TEXT", 4, 2}}, {{{"a"}, {"b"}, {"cccccc"}}}, {12}),
            "KEY  X  TEXT\na    b  ccc…\n");
}

TEST(TextTableTest, HeadingsAreCutWithTheirColumns) {
  EXPECT_EQ(layOut(COLUMNS, {{{"a"}, {"bbbbbbbb"}, {"cccccccc"}, {"d"}}}, {22}),
            "KEY  LONG  LON…  STATE\n"
            "a    bbb…  ccc…  d\n");
}

TEST(TextTableTest, WhereNothingShrinksMoreTheHighestRanksAreLeftOut) {
  const Rows rows{{{"a"}, {"bbbbbbbb"}, {"cccccccc"}, {"d"}}};
  EXPECT_EQ(layOut(COLUMNS, rows, {21}), "KEY  LONG     LONGER\na    bbbbbb…  cccccc…\n");
  EXPECT_EQ(layOut(COLUMNS, rows, {14}), "KEY  LONG\na    bbbbbbbb\n");
  EXPECT_EQ(layOut(COLUMNS, rows, {8}), "KEY\na\n");
  EXPECT_EQ(layOut(COLUMNS, rows, {2}), "K…\na\n");
}

TEST(TextTableTest, WidthsAreThoseOfTheTerminal) {
  EXPECT_EQ(layOut({{"A"}, {"B"}}, {{{"日本"}, {"x"}}, {{"ö"}, {"y"}}}), "A     B\n日本  x\nö     y\n");
}

TEST(TextTableTest, NoLineIsWiderThanTheTerminalWhateverItsWidth) {
  const Rows rows{{{"aaaaaaaa"}, {"日本語日本語"}, {"ccccccccccccccccccccc"}, {"d"}}, {{"a"}, {"b"}, {"c"}, {}}};
  for (std::size_t width = 1; width < 60; ++width) EXPECT_NE(layOut(COLUMNS, rows, {width}), "");
}

TEST(TextTableTest, AHugeTextIsCutInShortTime) {
  const std::string huge(10'000'000, 'x');
  EXPECT_EQ(layOut(COLUMNS, {{{"a"}, {std::string_view(huge)}, {}, {}}}, {10}), "KEY  LONG\na    xxxx…\n");
}

TEST(TextTableTest, ColourSurroundsTextsAndNeverMovesThem) {
  const Rows rows{{{"a"}, {"b", Colour::GREEN}, {"c"}, {"d", Colour::RED}}, {{"a"}, {"b"}, {}, {"", Colour::RED}}};
  EXPECT_EQ(layOut(COLUMNS, rows, {0, true}),
            "\033[1mKEY  LONG  LONGER  STATE\033[0m\n"
            "a    \033[32mb\033[0m     c       \033[31md\033[0m\n"
            "a    b\n");
  EXPECT_EQ(layOut(COLUMNS, rows).find('\033'), std::string::npos);
}

}  // namespace
