// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "platform/service/Message.h"

using namespace KX::NMS;
using KX::Property::Value;

namespace {

struct Read {
  explicit Read(std::string_view text) : code(Message::readRequest(text, {}, message, reason)) {}
  Value message;
  String reason;
  XCode code;
};

std::string refusalOf(std::string_view text) {
  const Read read(text);
  EXPECT_TRUE(read.code.isErr());
  EXPECT_FALSE(read.reason.isEmpty());
  return Message::nak(read.message, read.code).toJson().c_str();
}

}  // namespace

TEST(MessageTest, RequestIsRead) {
  const Read read(R"( {"kind":"request","service":"s","name":"n","id":[1],"x":2} )");
  ASSERT_TRUE(read.code.isSuccess());
  EXPECT_EQ(read.message["x"].toIntOr(0), 2);
}

TEST(MessageTest, RequestNeedsNoServiceToBeRead) {
  EXPECT_TRUE(Read(R"({"kind":"request","name":""})").code.isSuccess());
}

TEST(MessageTest, WhatIsNoJsonIsInvalidAndHasNoId) {
  const std::string expected = R"({"kind":"nak","id":null,"code":1,"reason":"Invalid message"})";
  for (std::string_view text :
       {"x", "{", "[1", "{\"id\":1", "{\"id\":1}}", "{\"id\":1}{\"id\":2}", "nul", "\xEF\xBB\xBF{}",
        "{\"id\":1,\"a\":\"\xFF\"}", "{\"id\":1,\"a\":\"\xC0\x80\"}", "{'id':1}", "{\"id\":1,}"}) {
    EXPECT_EQ(refusalOf(text), expected) << text;
  }
}

TEST(MessageTest, WhatIsNoObjectIsInvalid) {
  for (std::string_view text : {"[]", "1", "null", "\"request\"", "true", R"([{"kind":"request","name":"n"}])"}) {
    EXPECT_EQ(refusalOf(text), R"({"kind":"nak","id":null,"code":1,"reason":"Invalid message"})") << text;
  }
}

TEST(MessageTest, EmbeddedNulIsInvalid) {
  EXPECT_TRUE(Read(std::string_view("{\"kind\":\"request\",\"name\":\"n\"}\0{}", 32)).code.isErr());
}

TEST(MessageTest, IdOfAnInvalidMessageIsEchoedWhereItCanBeRead) {
  EXPECT_EQ(refusalOf(R"({"id":{"a":[1,"x"]}})"),
            R"({"kind":"nak","id":{"a":[1,"x"]},"code":1,"reason":"Invalid message"})");
}

TEST(MessageTest, WrongKindIsInvalid) {
  for (std::string_view kind : {"\"ack\"", "1", "null", "\"Request\"", "[\"request\"]"}) {
    const std::string text = R"({"kind":)" + std::string(kind) + R"(,"service":"s","name":"n","id":7})";
    EXPECT_EQ(refusalOf(text), R"({"kind":"nak","service":"s","name":"n","id":7,"code":1,"reason":"Invalid message"})");
  }
}

TEST(MessageTest, NameThatIsNoStringIsInvalidAndNotEchoed) {
  EXPECT_EQ(refusalOf(R"({"kind":"request","service":"s","name":5,"id":7})"),
            R"({"kind":"nak","service":"s","id":7,"code":1,"reason":"Invalid message"})");
}

TEST(MessageTest, ServiceThatIsNoStringIsNotEchoed) {
  EXPECT_EQ(refusalOf(R"({"kind":"event","service":["s"],"name":"n"})"),
            R"({"kind":"nak","name":"n","id":null,"code":1,"reason":"Invalid message"})");
}

TEST(MessageTest, LastOfEqualKeysCounts) {
  EXPECT_TRUE(Read(R"({"kind":"ack","kind":"request","name":"n"})").code.isSuccess());
  EXPECT_TRUE(Read(R"({"kind":"request","name":"n","kind":"ack"})").code.isErr());
}

TEST(MessageTest, DepthOf64IsReadAndDeeperIsInvalid) {
  const auto nested = [](std::size_t depth) {
    const std::string inside = std::string(depth - 1, '[') + std::string(depth - 1, ']');
    return R"({"kind":"request","name":"n","id":1,"deep":)" + inside + "}";
  };
  EXPECT_TRUE(Read(nested(64)).code.isSuccess());
  EXPECT_EQ(refusalOf(nested(65)), R"({"kind":"nak","id":null,"code":1,"reason":"Invalid message"})");
  EXPECT_TRUE(Read(nested(200000)).code.isErr());
}

TEST(MessageTest, AckEchoesTheIdOfAnyType) {
  for (std::string_view id : {"1", "-9223372036854775808", "18446744073709551615", "1.5", "\"x\"", "null", "true", "[]",
                              "{\"b\":1,\"a\":2}"}) {
    const Read read(R"({"kind":"request","service":"s","name":"n","id":)" + std::string(id) + "}");
    EXPECT_EQ(Message::ack(read.message).toJson().view(),
              R"({"kind":"ack","service":"s","name":"n","id":)" + std::string(id) + "}");
  }
}

TEST(MessageTest, AckWithoutIdCarriesNull) {
  const Read read(R"({"kind":"request","service":"s","name":"n"})");
  EXPECT_EQ(Message::ack(read.message).toJson().view(), R"({"kind":"ack","service":"s","name":"n","id":null})");
}

TEST(MessageTest, NakCarriesCodeAndText) {
  Value request = Value::object();
  request["id"] = "a";
  EXPECT_EQ(Message::nak(request, XCode(1032, "Broken pipe")).toJson().view(),
            R"({"kind":"nak","id":"a","code":1032,"reason":"Broken pipe"})");
  EXPECT_EQ(Message::nak(request, XCode(XCode::GENERIC_ERROR)).toJson().view(),
            R"({"kind":"nak","id":"a","code":1,"reason":"Error"})");
}

TEST(MessageTest, BlankIsTheWhiteSpaceOfJson) {
  EXPECT_TRUE(Message::isBlank(""));
  EXPECT_TRUE(Message::isBlank(" \t\r"));
  EXPECT_FALSE(Message::isBlank("\f"));
  EXPECT_FALSE(Message::isBlank(std::string_view("\0", 1)));
  EXPECT_FALSE(Message::isBlank(" x"));
}
