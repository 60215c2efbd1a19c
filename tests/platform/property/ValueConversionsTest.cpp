// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/property/Value.h"

namespace {

using KX::Property::Value;

constexpr std::int64_t INT64_LEAST = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t INT64_MOST = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t UINT64_MOST = std::numeric_limits<std::uint64_t>::max();

TEST(ValueConversions, StringsAreGivenAsTheyAre) {
  EXPECT_EQ(Value("12").toString(), "12");
  EXPECT_EQ(Value(String("a\0\xff", 3)).toString(), String("a\0\xff", 3));
  EXPECT_EQ(Value("12").getStringOr("x"), "12");
  EXPECT_EQ(Value("12").stringView(), "12");
}

TEST(ValueConversions, NumbersAndBooleansHaveTheirJsonText) {
  EXPECT_EQ(Value(-5).toString(), "-5");
  EXPECT_EQ(Value(UINT64_MOST).toString(), "18446744073709551615");
  EXPECT_EQ(Value(INT64_LEAST).toString(), "-9223372036854775808");
  EXPECT_EQ(Value(80.0).toString(), "80.0");
  EXPECT_EQ(Value(0.1).toString(), "0.1");
  EXPECT_EQ(Value(true).toString(), "true");
  EXPECT_EQ(Value(false).toStringOr("x"), "false");
}

TEST(ValueConversions, EverythingElseHasNoText) {
  for (const Value& value : {Value(), Value::null(), Value::array(), Value::object()}) {
    EXPECT_EQ(value.toString(), "");
    EXPECT_EQ(value.toStringOr("default"), "default");
    EXPECT_EQ(value.stringView(), "");
  }
}

TEST(ValueConversions, GetStringTakesStringsOnly) {
  EXPECT_EQ(Value(5).getStringOr("default"), "default");
  EXPECT_EQ(Value(true).getStringOr("default"), "default");
  EXPECT_EQ(Value().getStringOr("default"), "default");
}

TEST(ValueConversions, ToBoolTakesBooleansOnly) {
  EXPECT_TRUE(Value(true).toBoolOr(false));
  EXPECT_FALSE(Value(false).toBoolOr(true));
  EXPECT_TRUE(Value(0).toBoolOr(true));
  EXPECT_FALSE(Value("true").toBoolOr(false));
  EXPECT_TRUE(Value::null().toBoolOr(true));
}

TEST(ValueConversions, APortOutOfRangeIsTheDefaultAndNeverAnotherPort) {
  EXPECT_EQ(Value(65535).toUInt16Or(0), 65535U);
  EXPECT_EQ(Value(65536).toUInt16Or(0), 0U);
  EXPECT_EQ(Value(70000).toUInt16Or(7), 7U);
  EXPECT_EQ(Value(70000U).toUInt16Or(7), 7U);
  EXPECT_EQ(Value(-1).toUInt16Or(7), 7U);
  EXPECT_EQ(Value(80.0).toUInt16Or(7), 80U);
  EXPECT_EQ(Value(80.5).toUInt16Or(7), 7U);
  EXPECT_EQ(Value(70000.0).toUInt16Or(7), 7U);
  EXPECT_EQ(Value(-1.0).toUInt16Or(7), 7U);
  EXPECT_EQ(Value("80").toUInt16Or(7), 7U);
}

TEST(ValueConversions, IntegersOf32Bits) {
  EXPECT_EQ(Value(2147483647).toIntOr(7), 2147483647);
  EXPECT_EQ(Value(2147483648).toIntOr(7), 7);
  EXPECT_EQ(Value(2147483648U).toIntOr(7), 7);
  EXPECT_EQ(Value(-2147483648LL).toIntOr(7), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(Value(-2147483649LL).toIntOr(7), 7);
  EXPECT_EQ(Value(-2147483648.0).toIntOr(7), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(Value(2147483648.0).toIntOr(7), 7);
  EXPECT_EQ(Value(4294967295U).toUIntOr(7), 4294967295U);
  EXPECT_EQ(Value(4294967296U).toUIntOr(7), 7U);
  EXPECT_EQ(Value(-1).toUIntOr(7), 7U);
}

TEST(ValueConversions, IntegersOf64Bits) {
  EXPECT_EQ(Value(INT64_LEAST).toInt64Or(7), INT64_LEAST);
  EXPECT_EQ(Value(INT64_MOST).toInt64Or(7), INT64_MOST);
  EXPECT_EQ(Value(UINT64_MOST).toUInt64Or(7), UINT64_MOST);
  EXPECT_EQ(Value(UINT64_MOST).toInt64Or(7), 7);
  EXPECT_EQ(Value(std::uint64_t{1} << 63U).toInt64Or(7), 7);
  EXPECT_EQ(Value(INT64_LEAST).toUInt64Or(7), 7U);
  EXPECT_EQ(Value(INT64_MOST).toUInt64Or(7), static_cast<std::uint64_t>(INT64_MOST));
}

TEST(ValueConversions, DoublesAtTheEdgeOf64BitsDoNotSlipIn) {
  EXPECT_EQ(Value(9223372036854775808.0).toInt64Or(7), 7);
  EXPECT_EQ(Value(-9223372036854775808.0).toInt64Or(7), INT64_LEAST);
  EXPECT_EQ(Value(9223372036854774784.0).toInt64Or(7), 9223372036854774784);
  EXPECT_EQ(Value(18446744073709551616.0).toUInt64Or(7), 7U);
  EXPECT_EQ(Value(18446744073709549568.0).toUInt64Or(7), 18446744073709549568U);
}

TEST(ValueConversions, DoublesThatAreNoIntegersAreTheDefault) {
  for (const double number : {0.5, -0.5, 1e300, -1e300, static_cast<double>(INFINITY), static_cast<double>(NAN)}) {
    EXPECT_EQ(Value(number).toIntOr(7), 7) << number;
    EXPECT_EQ(Value(number).toUIntOr(7), 7U) << number;
    EXPECT_EQ(Value(number).toInt64Or(7), 7) << number;
    EXPECT_EQ(Value(number).toUInt64Or(7), 7U) << number;
  }
  EXPECT_EQ(Value(-0.0).toUIntOr(7), 0U);
}

TEST(ValueConversions, WhatIsNoNumberIsTheDefault) {
  for (const Value& value : {Value(), Value::null(), Value(true), Value("5"), Value::array(), Value::object()}) {
    EXPECT_EQ(value.toIntOr(7), 7);
    EXPECT_EQ(value.toUIntOr(7), 7U);
    EXPECT_EQ(value.toDoubleOr(7.5), 7.5);
  }
}

TEST(ValueConversions, EveryNumberIsADouble) {
  EXPECT_EQ(Value(-3).toDoubleOr(0), -3.0);
  EXPECT_EQ(Value(3U).toDoubleOr(0), 3.0);
  EXPECT_EQ(Value(0.25).toDoubleOr(0), 0.25);
}

}  // namespace
