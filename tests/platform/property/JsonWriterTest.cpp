// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "platform/property/Value.h"
#include "platform/text/Utf8.h"

namespace {

using KX::Property::Value;

std::string json(const Value& value) { return std::string(value.toJson().view()); }
std::string jsonOf(std::string_view text) { return json(Value(String(text))); }

TEST(JsonWriter, WritesEveryKindOfValueCompactly) {
  Value value;
  value["n"] = Value::null();
  value["u"] = Value();
  value["t"] = true;
  value["f"] = false;
  value["i"] = std::numeric_limits<std::int64_t>::min();
  value["m"] = std::numeric_limits<std::uint64_t>::max();
  value["s"] = "";
  value["a"].add(Value::array());
  value["a"].add(Value::object());
  EXPECT_EQ(
      json(value),
      R"({"n":null,"u":null,"t":true,"f":false,"i":-9223372036854775808,"m":18446744073709551615,"s":"","a":[[],{}]})");
}

TEST(JsonWriter, ScalarsAreDocumentsToo) {
  EXPECT_EQ(json(Value()), "null");
  EXPECT_EQ(json(Value(5)), "5");
  EXPECT_EQ(json(Value("x")), "\"x\"");
}

TEST(JsonWriter, DoublesAreAsShortAsTheyCanBeAndStayDoubles) {
  EXPECT_EQ(json(Value(80.0)), "80.0");
  EXPECT_EQ(json(Value(-0.0)), "-0.0");
  EXPECT_EQ(json(Value(0.1)), "0.1");
  EXPECT_EQ(json(Value(1e22)), "1e+22");
  EXPECT_EQ(json(Value(5e-324)), "5e-324");
  EXPECT_EQ(json(Value(1.0 / 3)), "0.3333333333333333");
  EXPECT_EQ(json(Value(std::numeric_limits<double>::max())), "1.7976931348623157e+308");
  EXPECT_EQ(json(Value(9007199254740993.0)), "9007199254740992.0");
}

TEST(JsonWriter, WhatJsonHasNoNumberForIsNull) {
  EXPECT_EQ(json(Value(static_cast<double>(INFINITY))), "null");
  EXPECT_EQ(json(Value(-static_cast<double>(INFINITY))), "null");
  EXPECT_EQ(json(Value(static_cast<double>(NAN))), "null");
}

TEST(JsonWriter, EscapesWhatMustBeEscapedAndNothingElse) {
  EXPECT_EQ(jsonOf("\"\\\b\f\n\r\t"), R"("\"\\\b\f\n\r\t")");
  EXPECT_EQ(jsonOf({"\0\x01\x1f", 3}), R"("\u0000\u0001\u001f")");
  EXPECT_EQ(jsonOf("/<>&'\x7f\xc3\xa4\xf0\x9f\x98\x80"), "\"/<>&'\x7f\xc3\xa4\xf0\x9f\x98\x80\"");
}

TEST(JsonWriter, EscapesWhereverTheyStand) {
  for (std::size_t before = 0; before < 20; ++before) {
    for (std::size_t after = 0; after < 20; ++after) {
      const std::string x(before, 'x');
      const std::string y(after, 'y');
      const auto around = [&](const char* middle) { return String::format("%s%s%s", x.c_str(), middle, y.c_str()); };
      const auto quoted = [&](const char* middle) { return String::format("\"%s\"", around(middle).c_str()); };
      EXPECT_EQ(Value(around("\n")).toJson(), quoted("\\n"));
      EXPECT_EQ(Value(around("\xff")).toJson(), quoted("\xef\xbf\xbd"));
      EXPECT_EQ(Value(around("\x1f\"")).toJson(), quoted("\\u001f\\\""));
    }
  }
}

TEST(JsonWriter, KeysAreEscapedLikeValues) {
  Value value;
  value[String("a\"\n\xff")] = 1;
  EXPECT_EQ(json(value), "{\"a\\\"\\n\xef\xbf\xbd\":1}");
}

TEST(JsonWriter, EveryByteInAStringGivesAValidDocument) {
  // Of the bytes that follow, one from either end of each range that UTF-8 tells apart.
  constexpr char SECOND[] = "\x1f\"\\z\x7f\x80\x8f\x90\x9f\xa0\xbf\xc2\xe0\xed\xf0\xf4\xff";  // and the NUL
  for (unsigned first = 0; first < 256; ++first) {
    for (const char second : SECOND) {
      const char bytes[] = {static_cast<char>(first), second, 'z'};
      const std::string_view text(bytes, sizeof(bytes));
      const String written = Value(String(text)).toJson();
      Value value;
      ASSERT_TRUE(value.fromJson(written).isSuccess()) << testing::PrintToString(text);
      ASSERT_EQ(value.stringView(), toValidUtf8(text).view());
    }
  }
}

TEST(JsonWriter, LongTextsComeOutWhole) {
  Value value;
  std::string expected = "[";
  for (int i = 0; i < 20000; ++i) {
    value.add(String::format("item %d", i));
    expected += "\"item " + std::to_string(i) + "\",";
  }
  expected.back() = ']';
  String text = value.toJson();
  EXPECT_EQ(text, std::string_view(expected));
  EXPECT_EQ(text.c_str()[text.length()], '\0');
  // The buffer is a string's like any other.
  text.append("!");
  EXPECT_EQ(text, std::string_view(expected + "!"));
}

}  // namespace
