// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "platform/property/Value.h"

namespace {

using KX::Property::JsonLimits;
using KX::Property::Value;
using namespace std::string_literals;

// What the reader says; and whatever it says, a value that it refuses to replace stays as it was.
std::string errorOf(std::string_view text, const JsonLimits& limits = {}) {
  const Value before = [] {
    Value value;
    value["kept"].add(1);
    return value;
  }();
  Value value = before;
  const XCode code = value.fromJson(text, limits);
  if (code.isSuccess()) return "";
  EXPECT_EQ(code.code(), XCode::GENERIC_ERROR);
  EXPECT_EQ(value, before) << text;
  return std::string(code.toString().view());
}

std::string roundTrip(std::string_view text) {
  Value value;
  const XCode code = value.fromJson(text);
  return code.isErr() ? std::string("error: ") + code.toString().c_str() : std::string(value.toJson().view());
}

std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  for (std::size_t i = 0; i < times; ++i) result += text;
  return result;
}

class Stopwatch {
 public:
  double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

TEST(JsonReader, ReadsEveryKindOfValue) {
  Value value;
  ASSERT_TRUE(
      value.fromJson(R"( { "n" : null , "t":true,"f":false,"i":-1,"d":1.5,"s":"x","a":[ ],"o":{ } } )").isSuccess());
  EXPECT_TRUE(value["n"].isNull());
  EXPECT_TRUE(value["t"].toBoolOr(false));
  EXPECT_FALSE(value["f"].toBoolOr(true));
  EXPECT_EQ(value["i"].toIntOr(0), -1);
  EXPECT_EQ(value["d"].toDoubleOr(0), 1.5);
  EXPECT_EQ(value["s"].toString(), "x");
  EXPECT_TRUE(value["a"].isArray());
  EXPECT_TRUE(value["o"].isObject());
  EXPECT_EQ(roundTrip("\t\r\n 5 \t\r\n"), "5");
}

TEST(JsonReader, SaysWhatIsWrongAndAtWhichByte) {
  EXPECT_EQ(errorOf(R"({"a": 12, "b": x})"), "Invalid value at byte 15");
  EXPECT_EQ(errorOf(""), "The document is empty at byte 0");
  EXPECT_EQ(errorOf(" "), "The document is empty at byte 1");
  EXPECT_EQ(errorOf("[1 234]"), "Missing a comma or ']' after an array element at byte 3");
  EXPECT_EQ(errorOf("{} 12"), "The document root must not be followed by other values at byte 3");
  EXPECT_EQ(errorOf("[01]"), "Invalid number at byte 1");
  EXPECT_EQ(errorOf("[\"\\ud800\"]"), "The surrogate pair in string is invalid at byte 2");
  EXPECT_EQ(errorOf("[\"x\\udc00\"]"), "Lone surrogate at byte 3");
  EXPECT_EQ(errorOf("[\"\xff\"]"), "Invalid UTF-8 at byte 2");
  EXPECT_EQ(errorOf("{}\0"s), "Invalid value at byte 2");
  EXPECT_EQ(errorOf("[1e400]"), "Number too large for a double at byte 1");
}

TEST(JsonReader, RefusesEveryMalformedTextAndLeavesTheValueAlone) {
  const std::string texts[] = {
      "",
      " ",
      "\n",
      "{",
      "}",
      "[",
      "]",
      "[}",
      "{]",
      "[1",
      "[1,",
      "[1,]",
      "[,1]",
      "[1,,2]",
      "[1 2]",
      "{\"a\"",
      "{\"a\":",
      "{\"a\":1",
      "{\"a\":1,",
      "{\"a\":1,}",
      "{\"a\" 1}",
      "{\"a\",1}",
      "{a:1}",
      "{1:1}",
      "{'a':1}",
      "{null:1}",
      "{[]:1}",
      "{\"a\":1 \"b\":2}",
      "{:1}",
      "{,}",
      "[:]",
      ":",
      ",",
      "nul",
      "nulll",
      "Null",
      "True",
      "tru",
      "truee",
      "fals",
      "falsey",
      "NaN",
      "nan",
      "Infinity",
      "-Infinity",
      "inf",
      "undefined",
      "x",
      "'a'",
      "\"",
      "\"a",
      "\"a\\\"",
      "\"\\\"",
      "\"\\x41\"",
      "\"\\u\"",
      "\"\\u12\"",
      "\"\\u123g\"",
      "\"\\u 123\"",
      "\"\\U0041\"",
      "\"\\\n\"",
      "\"\n\"",
      "\"\t\"",
      "\"\x01\"",
      "\"\x1f\"",
      "\"a\0b\""s,
      "\"a\\\0\""s,
      "\0"s,
      "[\0]"s,
      "1\0"s,
      "{}\0{}"s,
      "[1]\0\0"s,
      "{\"a\0\":1}"s,
      "\xef\xbb\xbf{}",
      "{}\xef\xbb\xbf",
      "{}{}",
      "[][]",
      "1 2",
      "1,2",
      "\"a\"\"b\"",
      "// c\n1",
      "/* c */ 1",
      "[1]//",
      "#",
      "\v1",
      "\f1",
      "\xc2\xa0 1",
      "\"\\ud800\"",
      "\"\\udbff\"",
      "\"\\udc00\"",
      "\"\\udfff\"",
      "\"\\ud800\\ud800\"",
      "\"\\ud800x\"",
      "\"\\ud800\\n\"",
      "\"\\ud800\\u0041\"",
      "\"\\udc00\\ud800\"",
      "{\"\\udc00\":1}",
      "-",
      "+1",
      "--1",
      "-x",
      "01",
      "-01",
      "00",
      "1.",
      ".5",
      "-.5",
      "1.e5",
      "1e",
      "1e+",
      "1e-",
      "1E",
      "1ee5",
      "1e5.5",
      "1.5.2",
      "1-2",
      "1+2",
      "0x10",
      "1f",
      "1_000",
      "1e400",
      "-1e400",
      "1e99999999999999999999",
      "[1.]",
      "[-]",
      "[1e]",
      "{\"a\":-}",
      "[1-]",
      "5-",
      "[5.]",
      "1 -",
      "\xff",
      "\"\x80\"",
      "\"\xc0\x80\"",
      "\"\xe0\x80\x80\"",
      "\"\xed\xa0\x80\"",
      "\"\xf4\x90\x80\x80\"",
      "\"\xf8\x88\x80\x80\x80\"",
      "\"\xc3\"",
      "\"\xe2\x82\"",
      "\"\xf0\x9f\x98\"",
      "\"\xc3\\n\"",
      "{\"\xff\":1}",
      "[1,2\xff]",
      "\xe2\x80\x9cx\xe2\x80\x9d",
  };
  for (const std::string& text : texts) EXPECT_NE(errorOf(text), "") << testing::PrintToString(text);
}

TEST(JsonReader, EveryPrefixOfADocumentIsAnError) {
  const std::string text = R"({"a":[1,-2.5e3,"\u00e4\ud83d\ude00",null,true,false],"b":{"c":{}}})";
  ASSERT_EQ(errorOf(text), "");
  for (std::size_t length = 0; length < text.size(); ++length) EXPECT_NE(errorOf(text.substr(0, length)), "") << length;
}

TEST(JsonReader, TextIsNotReadBeyondItsEnd) {
  const std::string text = "[12345]";
  EXPECT_EQ(roundTrip(std::string_view(text).substr(1, 3)), "123");
  EXPECT_NE(errorOf(std::string_view(text).substr(0, 6)), "");
  EXPECT_EQ(roundTrip(std::string_view("\"abc\"def").substr(0, 5)), "\"abc\"");
}

TEST(JsonReader, DecodesEveryEscape) {
  Value value;
  ASSERT_TRUE(
      value.fromJson(R"("\"\\\/\b\f\n\r\t\u0041\u00e4\u20ac\ud83d\ude00\u0000\ud7ff\ue000\uFFFF")").isSuccess());
  EXPECT_EQ(value.toString(),
            String("\"\\/\b\f\n\r\tA\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\0\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf"s));
}

TEST(JsonReader, EscapesMayStandAnywhereInAString) {
  for (std::size_t before = 0; before < 20; ++before) {
    for (std::size_t after = 0; after < 20; ++after) {
      const std::string x(before, 'x');
      const std::string y(after, 'y');
      const String expected = String::format("%s\n%s", x.c_str(), y.c_str());
      Value value;
      const String json = String::format(R"({"%s\n%s":"%s\n%s"})", x.c_str(), y.c_str(), x.c_str(), y.c_str());
      ASSERT_TRUE(value.fromJson(json).isSuccess());
      EXPECT_EQ(value.members()[0].key, expected);
      EXPECT_EQ(value.members()[0].value.stringView(), expected.view());
    }
  }
}

TEST(JsonReader, CharactersBeyondAsciiAreKept) {
  const std::string text = "{\"\xc3\xa4\":\"\xe2\x82\xac \xf0\x9f\x98\x80 \xef\xbf\xbd \x7f\"}";
  EXPECT_EQ(roundTrip(text), text);
  EXPECT_EQ(roundTrip("\"\xed\x9f\xbf\\n\xed\x9f\xbf\""), "\"\xed\x9f\xbf\\n\xed\x9f\xbf\"");
}

TEST(JsonReader, TheLastOfEqualKeysStandsInTheFirstOnesPlace) {
  EXPECT_EQ(roundTrip(R"({"a":1,"b":2,"a":3})"), R"({"a":3,"b":2})");
  EXPECT_EQ(roundTrip(R"({"a":{"x":1},"a":{"y":2},"a":[]})"), R"({"a":[]})");
  EXPECT_EQ(roundTrip(R"({"a":1,"\u0061":2})"), R"({"a":2})");
}

TEST(JsonReader, EqualKeysAreFoundInLargeObjectsToo) {
  std::string text = "{";
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 500; ++i) text += "\"key" + std::to_string(i) + "\":" + std::to_string(round * 1000 + i) + ",";
  }
  text.back() = '}';
  Value value;
  ASSERT_TRUE(value.fromJson(text).isSuccess());
  ASSERT_EQ(value.size(), 500U);
  for (std::uint32_t i = 0; i < 500; ++i) {
    EXPECT_EQ(value.members()[i].key, String::format("key%u", i));
    EXPECT_EQ(value.members()[i].value.toUIntOr(0), 2000 + i);
  }
}

TEST(JsonReader, DepthIsBounded) {
  EXPECT_EQ(errorOf(repeated("[", 64) + repeated("]", 64)), "");
  EXPECT_EQ(errorOf(repeated("[", 65) + repeated("]", 65)), "Nested too deeply at byte 64");
  EXPECT_EQ(errorOf(repeated("{\"a\":", 64) + "1" + repeated("}", 64)), "");
  EXPECT_NE(errorOf(repeated("{\"a\":", 65) + "1" + repeated("}", 65)), "");
  EXPECT_EQ(errorOf(repeated("[", 63) + "[],[],{}" + repeated("]", 63)), "");
  JsonLimits limits;
  limits.depth = 1;
  EXPECT_EQ(errorOf("[1]", limits), "");
  EXPECT_NE(errorOf("[[]]", limits), "");
}

TEST(JsonReader, NoLimitLetsTheStackGrowWithoutEnd) {
  JsonLimits limits;
  limits.depth = 1000000;
  EXPECT_EQ(errorOf(repeated("[", 256) + repeated("]", 256), limits), "");
  EXPECT_EQ(errorOf(repeated("[{\"a\":", 128) + "1" + repeated("}]", 128), limits), "");
  EXPECT_EQ(errorOf(repeated("[", 1000000), limits), "Nested too deeply at byte 256");
}

TEST(JsonReader, DeepTextIsAnsweredAtOnce) {
  std::string arrays;
  arrays.assign(10000000, '[');
  const std::string objects = repeated("{\"\":", 100000);
  const Stopwatch watch;
  EXPECT_EQ(errorOf(arrays), "Nested too deeply at byte 64");
  EXPECT_EQ(errorOf(objects), "Nested too deeply at byte 256");
  EXPECT_LT(watch.seconds(), 5);
}

TEST(JsonReader, NumberOfValuesIsBounded) {
  JsonLimits limits;
  limits.values = 4;
  EXPECT_EQ(errorOf("[1,\"a\",[]]", limits), "");
  EXPECT_EQ(errorOf("[1,2,3,4]", limits), "Too many values at byte 8");
  EXPECT_NE(errorOf("[[],[],[],[]]", limits), "");
  EXPECT_NE(errorOf("{\"a\":1,\"a\":2,\"a\":3,\"a\":4}", limits), "");
  EXPECT_EQ(errorOf("{\"a\":1,\"a\":2,\"a\":3}", limits), "");
}

TEST(JsonReader, AsManyValuesAsTheDefaultAllowsAreNotFewer) {
  EXPECT_EQ(JsonLimits().values, 4000000U);
  EXPECT_EQ(JsonLimits().depth, 64U);
  EXPECT_EQ(errorOf("[0" + repeated(",0", 200000) + "]"), "");
}

TEST(JsonReader, SizeIsBounded) {
  JsonLimits limits;
  limits.bytes = 5;
  EXPECT_EQ(errorOf("[1,2]", limits), "");
  EXPECT_EQ(errorOf("[1,2] ", limits), "Text too long at byte 5");
}

TEST(JsonReader, AHugeObjectTakesLinearTime) {
  const auto textOf = [](int members) {
    std::string text = "{";
    for (int i = 0; i < members; ++i) text += "\"some key " + std::to_string(i) + "\":0,";
    text.back() = '}';
    return text;
  };
  const auto secondsFor = [](const std::string& text) {
    const Stopwatch watch;
    Value value;
    EXPECT_TRUE(value.fromJson(text).isSuccess());
    return watch.seconds();
  };
  const std::string small = textOf(20000);
  const double smallSeconds = std::min({secondsFor(small), secondsFor(small), secondsFor(small)});
  // Quadratic time would be 100 times as long.
  EXPECT_LT(secondsFor(textOf(200000)), 50 * smallSeconds);
}

TEST(JsonReader, LongStringsTakeLinearTime) {
  const std::string plain = repeated("x", 1000000);
  Value value;
  ASSERT_TRUE(value.fromJson("\"" + plain + "\"").isSuccess());
  EXPECT_EQ(value.stringView().size(), plain.size());
  ASSERT_TRUE(value.fromJson("\"" + repeated("\\n", 500000) + "\"").isSuccess());
  EXPECT_EQ(value.stringView().size(), 500000U);
}

TEST(JsonReader, EqualShortStringsShareOneBuffer) {
  Value value;
  ASSERT_TRUE(value.fromJson(R"([{"key":"eth0"},{"key":"eth0"}])").isSuccess());
  EXPECT_EQ(value[0].members()[0].key.c_str(), value[1].members()[0].key.c_str());
  EXPECT_EQ(std::as_const(value)[0]["key"].stringView().data(), std::as_const(value)[1]["key"].stringView().data());
}

TEST(JsonReader, EqualSmallObjectsAreOneUntilOneIsChanged) {
  Value value;
  ASSERT_TRUE(
      value.fromJson(R"([{"a":{"port":80}},{"a":{"port":80}},{"a":{"port":80.0}},{"a":{"port":"80"}}])").isSuccess());
  const Value& read = value;
  EXPECT_EQ(read[0].members().data(), read[1].members().data());
  value[0]["a"]["port"] = 81;
  EXPECT_EQ(value.toJson(), R"([{"a":{"port":81}},{"a":{"port":80}},{"a":{"port":80.0}},{"a":{"port":"80"}}])");
}

TEST(JsonReader, SmallObjectsThatDifferAreNotMistaken) {
  std::string text = "[";
  for (int i = 0; i < 2000; ++i) {
    const std::string number = std::to_string(i % 700);
    text += R"({"port":)" + number + R"(},{"p)" + number + R"(":true},{"x":{"port":)" + number + R"(}},{"a":1,"b":)" +
            number + "},";
  }
  text.back() = ']';
  EXPECT_EQ(roundTrip(text), text);
}

TEST(JsonReader, StringsThatDifferInOneByteAreNotMistaken) {
  Value value;
  std::string text = "[";
  for (std::size_t length = 1; length < 40; ++length) {
    for (std::size_t at = 0; at < length; ++at) {
      std::string item(length, 'a');
      item[at] = 'b';
      text += "\"" + item + "\",";
    }
  }
  text.back() = ']';
  ASSERT_TRUE(value.fromJson(text).isSuccess());
  EXPECT_EQ(value.toJson(), std::string_view(text));
}

}  // namespace
