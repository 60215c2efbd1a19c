// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "discovery/common/LogText.h"

namespace KX::NMS::Discovery {
namespace {

TEST(LogTextTest, NulBytesAreShown) {
  EXPECT_EQ(inLog(std::string_view("a\0b\0", 4)), "a\\x00b\\x00");
  EXPECT_EQ(inLog(std::string_view("\0", 1)), "\\x00");
}

TEST(LogTextTest, OtherTextsAreGivenAsTheyAre) {
  const String text = "a\nb\x1b \xff";
  EXPECT_EQ(inLog(text).c_str(), text.c_str()) << "without a copy";
  EXPECT_EQ(inLog(""), "");
}

}  // namespace
}  // namespace KX::NMS::Discovery
