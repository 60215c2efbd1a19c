// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "platform/property/Value.h"

namespace {

using KX::Property::Value;

std::string yaml(std::string_view json, unsigned indentation = 0, unsigned step = 2) {
  Value value;
  EXPECT_TRUE(value.fromJson(json).isSuccess());
  return std::string(value.toYaml(indentation, step).view());
}

std::string yamlOf(std::string_view text) { return std::string(Value(String(text)).toYaml(0, 2).view()); }

TEST(YamlWriter, QuotesEveryScalar) {
  EXPECT_EQ(yaml(R"({"a":1,"b":true,"c":null,"d":"x","e":0.5})"),
            "\"a\": \"1\"\n\"b\": \"true\"\n\"c\": \"null\"\n\"d\": \"x\"\n\"e\": \"0.5\"");
  EXPECT_EQ(yaml("5"), "\"5\"");
  EXPECT_EQ(std::string(Value().toYaml(0, 2).view()), "\"null\"");
}

TEST(YamlWriter, EmptyContainersAreWrittenAsSuch) {
  EXPECT_EQ(yaml("[]"), "[]");
  EXPECT_EQ(yaml("{}"), "{}");
  EXPECT_EQ(yaml(R"({"a":[],"b":[{}]})"), "\"a\": []\n\"b\":\n  - {}");
}

TEST(YamlWriter, IndentsAllLinesButTheFirst) {
  EXPECT_EQ(yaml(R"({"a":{"b":1,"c":[1,2]},"d":2})", 2, 2),
            "\"a\":\n"
            "    \"b\": \"1\"\n"
            "    \"c\":\n"
            "      - \"1\"\n"
            "      - \"2\"\n"
            "  \"d\": \"2\"");
}

TEST(YamlWriter, ContainersInAnArrayStartBesideTheirDash) {
  EXPECT_EQ(yaml(R"([{"a":1,"b":2},[1,[2]],{"c":{"d":3}}])"),
            "- \"a\": \"1\"\n"
            "  \"b\": \"2\"\n"
            "- - \"1\"\n"
            "  - - \"2\"\n"
            "- \"c\":\n"
            "    \"d\": \"3\"");
}

TEST(YamlWriter, EachLevelAddsTheStep) {
  EXPECT_EQ(yaml(R"({"a":{"b":[1,{"c":2,"d":3}]}})", 0, 4),
            "\"a\":\n"
            "    \"b\":\n"
            "        -   \"1\"\n"
            "        -   \"c\": \"2\"\n"
            "            \"d\": \"3\"");
}

TEST(YamlWriter, AStepTooSmallToShowALevelIsRaised) {
  EXPECT_EQ(yaml(R"({"a":{"b":1}})", 0, 0), "\"a\":\n \"b\": \"1\"");
  EXPECT_EQ(yaml(R"([[1,2]])", 0, 0), "- - \"1\"\n  - \"2\"");
}

TEST(YamlWriter, EscapesWhatYamlDoesNotTakeAsText) {
  EXPECT_EQ(yamlOf("\"\\\n\r\t"), R"("\"\\\n\r\t")");
  EXPECT_EQ(yamlOf({"\0\x1b\x7f", 3}), R"("\x00\x1b\x7f")");
  EXPECT_EQ(yamlOf("\xc2\x80\xc2\x85\xc2\x9f\xc2\xa0"), "\"\\u0080\\u0085\\u009f\xc2\xa0\"");
  EXPECT_EQ(yamlOf("\xe2\x80\xa8\xe2\x80\xa9\xef\xbb\xbf\xef\xbf\xbe\xef\xbf\xbf"),
            R"("\u2028\u2029\ufeff\ufffe\uffff")");
  EXPECT_EQ(yamlOf("\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80 #:-{}"), "\"\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80 #:-{}\"");
}

TEST(YamlWriter, InvalidBytesAreReplaced) { EXPECT_EQ(yamlOf("a\xff"), "\"a\xef\xbf\xbd\""); }

TEST(YamlWriter, KeysAreQuotedLikeValues) {
  EXPECT_EQ(yaml(R"({"a\n: \"b\"":1,"":2})"), "\"a\\n: \\\"b\\\"\": \"1\"\n\"\": \"2\"");
}

TEST(YamlWriter, KeysTooLongForOneLineTakeTheLongForm) {
  const std::string key(300, 'k');
  EXPECT_EQ(yaml("{\"x\":{\"" + key + "\":1,\"" + key + "2\":{\"a\":2}}}"),
            "\"x\":\n"
            "  ? \"" +
                key +
                "\"\n"
                "  : \"1\"\n"
                "  ? \"" +
                key +
                "2\"\n"
                "  :\n"
                "    \"a\": \"2\"");
}

}  // namespace
