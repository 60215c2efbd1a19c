// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdint>

#include "platform/text/Decimal.h"

namespace {

using KX::readDecimal;

TEST(DecimalTest, ReadsAllThatTheTypeHolds) {
  EXPECT_EQ(readDecimal<std::uint16_t>("0"), 0U);
  EXPECT_EQ(readDecimal<std::uint16_t>("00080"), 80U);
  EXPECT_EQ(readDecimal<std::uint16_t>("65535"), 65535U);
  EXPECT_EQ(readDecimal<std::uint32_t>("4294967295"), 4294967295U);
  EXPECT_EQ(readDecimal<std::uint64_t>("18446744073709551615"), 18446744073709551615U);
}

TEST(DecimalTest, WhatIsTooLargeIsNone) {
  EXPECT_EQ(readDecimal<std::uint16_t>("65536"), std::nullopt);
  EXPECT_EQ(readDecimal<std::uint32_t>("4294967296"), std::nullopt);
  EXPECT_EQ(readDecimal<std::uint64_t>("99999999999999999999999"), std::nullopt);
}

TEST(DecimalTest, WhatIsNotAllDigitsIsNone) {
  for (const char* text : {"", " ", "-", "-1", "+1", " 1", "1 ", "1.0", "0x10", "1e3", "a", "1a"}) {
    EXPECT_EQ(readDecimal<std::uint32_t>(text), std::nullopt) << '"' << text << '"';
  }
  EXPECT_EQ(readDecimal<std::uint32_t>(std::string_view("1\0", 2)), std::nullopt);
}

}  // namespace
