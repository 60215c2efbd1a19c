// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "platform/property/JsonNumber.h"

namespace {

using KX::Property::JsonNumber;
using KX::Property::Value;

Value read(const std::string& text) {
  const JsonNumber number(text.data(), text.data() + text.size());
  EXPECT_EQ(number.error, nullptr) << text;
  EXPECT_EQ(number.end, text.data() + text.size());
  return number.value;
}

std::string repeated(char digit, std::size_t times) {
  std::string result;
  result.assign(times, digit);
  return result;
}

bool isRefused(const std::string& text) { return JsonNumber(text.data(), text.data() + text.size()).error != nullptr; }

void expectDouble(const std::string& text, double expected) {
  const Value value = read(text);
  EXPECT_EQ(value.type(), Value::Type::DOUBLE) << text;
  const double number = value.toDoubleOr(-1);
  EXPECT_EQ(number, expected) << text;
  EXPECT_EQ(std::signbit(number), std::signbit(expected)) << text;
}

TEST(JsonNumber, IntegersAreSignedWhereTheyFit) {
  EXPECT_EQ(read("0").type(), Value::Type::SIGNED);
  EXPECT_EQ(read("-1").toInt64Or(0), -1);
  EXPECT_EQ(read("9223372036854775807").type(), Value::Type::SIGNED);
  EXPECT_EQ(read("-9223372036854775808").toInt64Or(0), std::numeric_limits<std::int64_t>::min());
}

TEST(JsonNumber, LargerOnesAreUnsigned) {
  EXPECT_EQ(read("9223372036854775808").type(), Value::Type::UNSIGNED);
  EXPECT_EQ(read("9223372036854775808").toUInt64Or(0), std::uint64_t{1} << 63U);
  EXPECT_EQ(read("18446744073709551615").toUInt64Or(0), std::numeric_limits<std::uint64_t>::max());
}

TEST(JsonNumber, IntegersBeyond64BitsAreDoubles) {
  expectDouble("18446744073709551616", 18446744073709551616.0);
  expectDouble("-9223372036854775809", -9223372036854775808.0);
  expectDouble("100000000000000000000000", 1e23);
}

TEST(JsonNumber, FractionsAndExponentsMakeDoubles) {
  expectDouble("80.0", 80.0);
  expectDouble("1e2", 100.0);
  expectDouble("1E+2", 100.0);
  expectDouble("-12.5e-1", -1.25);
  expectDouble("0.1", 0.1);
  expectDouble("-0", -0.0);
  expectDouble("-0.0", -0.0);
  expectDouble("2.2250738585072011e-308", 2.2250738585072011e-308);
  expectDouble("1.7976931348623157e308", std::numeric_limits<double>::max());
}

TEST(JsonNumber, WhatNoDoubleHoldsIsRefused) {
  EXPECT_TRUE(isRefused("1e400"));
  EXPECT_TRUE(isRefused("-1e400"));
  EXPECT_TRUE(isRefused("1.7976931348623159e308"));
  EXPECT_TRUE(isRefused("1e99999999999999999999999999"));
  EXPECT_TRUE(isRefused("0.001e400"));
  EXPECT_TRUE(isRefused(repeated('9', 400)));
}

TEST(JsonNumber, TinyNumbersAreZeroOrDenormal) {
  expectDouble("1e-400", 0.0);
  expectDouble("-1e-400", -0.0);
  expectDouble("1e-99999999999999999999999999", 0.0);
  expectDouble("0." + repeated('0', 400) + "1", 0.0);
  expectDouble("123456e-400", 0.0);
  expectDouble("5e-324", 5e-324);
  expectDouble("2e-324", 0.0);
  expectDouble("1e-310", 1e-310);
}

TEST(JsonNumber, ZeroHasNoMagnitude) {
  expectDouble("0e400", 0.0);
  expectDouble("0.0e99999999999999999999", 0.0);
  expectDouble("-0e-400", -0.0);
}

TEST(JsonNumber, DigitsAndExponentsMayOutweighEachOther) {
  expectDouble("1" + repeated('0', 1000) + "e-1000", 1.0);
  expectDouble("0." + repeated('0', 999) + "1e1000", 1.0);
  expectDouble(repeated('9', 3000000) + "e-3000000", 1.0);
  expectDouble("0." + repeated('1', 3000000), 0.1111111111111111111);
}

// Halfway between two doubles, where the last of very many digits decides.
TEST(JsonNumber, EveryDigitCounts) {
  const std::string half = "9007199254740993";
  expectDouble(half + ".0", 9007199254740992.0);
  expectDouble(half + "." + repeated('0', 100000) + "1", 9007199254740994.0);
}

TEST(JsonNumber, IsTheNearestDouble) {
  std::uint64_t random = 42;
  for (int i = 0; i < 20000; ++i) {
    random = random * 6364136223846793005U + 1442695040888963407U;
    const std::string text = std::to_string(random >> 11U) + "." + std::to_string(random % 1000003U) + "e" +
                             std::to_string(static_cast<int>(random >> 40U) % 300 - 150);
    expectDouble(text, std::strtod(text.c_str(), nullptr));
  }
}

TEST(JsonNumber, EndsWhereTheNumberEnds) {
  const std::string text = "12,3";
  const JsonNumber number(text.data(), text.data() + text.size());
  EXPECT_EQ(number.end, text.data() + 2);
  EXPECT_EQ(number.value.toIntOr(0), 12);
}

TEST(JsonNumber, RefusesWhatOnlyLooksLikeANumber) {
  for (const char* text :
       {"-", "01", "-01", "1.", "1.e1", "1e", "1e+", "1e-", "--1", "1-2", "1.5.5", "1e5e5", "1e5.5", "-a"}) {
    EXPECT_TRUE(isRefused(text)) << text;
  }
}

}  // namespace
