// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string_view>

#include "platform/text/Printable.h"

namespace {

TEST(PrintableTest, OrdinaryTextStaysAsItIs) {
  EXPECT_EQ(toPrintable(""), "");
  EXPECT_EQ(toPrintable("[Job nightly.3] Preparing..."), "[Job nightly.3] Preparing...");
  EXPECT_EQ(toPrintable("B\xc3\xbcro \xe2\x82\xac \xf0\x9f\x98\x80"), "B\xc3\xbcro \xe2\x82\xac \xf0\x9f\x98\x80");
  EXPECT_EQ(toPrintable("C:\\path \"quoted\" ~"), "C:\\path \"quoted\" ~");
}

TEST(PrintableTest, ControlCharactersAreEscaped) {
  EXPECT_EQ(toPrintable("\x1b[2J"), "\\x1b[2J");
  EXPECT_EQ(toPrintable("a\tb\r\nc"), "a\\tb\\r\\nc");
  EXPECT_EQ(toPrintable("\x01\x1f\x7f"), "\\x01\\x1f\\x7f");
  EXPECT_EQ(toPrintable(std::string_view("a\0b\0", 4)), "a\\x00b\\x00");
}

TEST(PrintableTest, ControlCharactersOfTwoBytesAreEscaped) {
  EXPECT_EQ(toPrintable("\xc2\x9b"
                        "2J"),
            "\\u009b2J");
  EXPECT_EQ(toPrintable("\xc2\x80\xc2\x9f\xc2\xa0"), "\\u0080\\u009f\xc2\xa0");
}

TEST(PrintableTest, CharactersThatNobodySeesAreEscaped) {
  EXPECT_EQ(toPrintable("a\u202eb\u2066c\u200bd"), "a\\u202eb\\u2066c\\u200bd");
  EXPECT_EQ(toPrintable("one\u2028two"), "one\\u2028two");
  EXPECT_EQ(toPrintable("\U000e0041"), "\\U000e0041");
}

TEST(PrintableTest, BytesThatAreNoUtf8AreReplaced) {
  EXPECT_EQ(toPrintable("a\xff"
                        "b"),
            "a\xef\xbf\xbd"
            "b");
  EXPECT_EQ(toPrintable("\xc2"), "\xef\xbf\xbd");
  EXPECT_EQ(toPrintable("\xc2\n"), "\xef\xbf\xbd\\n");
  EXPECT_EQ(toPrintable("\x9b"), "\xef\xbf\xbd");
}

}  // namespace
