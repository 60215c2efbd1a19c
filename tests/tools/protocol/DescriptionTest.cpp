// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "tools/protocol/Description.h"
#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery {
namespace {

TEST(DescriptionTest, WhatOneSideWritesTheOtherReads) {
  const Description written{"Model \"1\" \u96fb"_s, "7.1"_s, true};
  Description read;
  ASSERT_TRUE(read.fromJson(written.toJson()));
  EXPECT_EQ(read.model, written.model);
  EXPECT_EQ(read.build, "7.1");
  EXPECT_TRUE(read.supportsOnboarding);
}

TEST(DescriptionTest, MissingAndMistypedMembersAreEmpty) {
  Description read{"old"_s, "old"_s, true};
  ASSERT_TRUE(read.fromJson("{}"));
  EXPECT_EQ(read.model, "");
  EXPECT_EQ(read.build, "");
  EXPECT_FALSE(read.supportsOnboarding);
  ASSERT_TRUE(read.fromJson(R"({"model":[1],"build":7,"supportsOnboarding":"true"})"));
  EXPECT_EQ(read.model, "");
  EXPECT_EQ(read.build, "");
  EXPECT_FALSE(read.supportsOnboarding);
}

TEST(DescriptionTest, WhatIsNoObjectDescribesNothing) {
  Description read;
  for (const char* text : {"", "[]", "\"x\"", "{", "null", "{\"model\":\"\xff\"}", "{}{}"}) {
    EXPECT_FALSE(read.fromJson(text)) << text;
  }
}

TEST(DescriptionTest, DeepAndCrowdedDocumentsAreRefused) {
  Description read;
  EXPECT_FALSE(read.fromJson("{\"a\":" + std::string(50, '[') + std::string(50, ']') + "}"));
  std::string crowded = "{\"a\":[0";
  for (int i = 0; i < 300; ++i) crowded += ",0";
  EXPECT_FALSE(read.fromJson(crowded + "]}"));
}

TEST(DescriptionTest, TextsAreOneLineOfASaneLength) {
  Description read;
  ASSERT_TRUE(read.fromJson(R"({"model":" a\nb\u0000\u001b[1m ","build":")" + std::string(900, 'x') + "\"}"));
  EXPECT_EQ(read.model, "a b  [1m");
  EXPECT_EQ(read.build.length(), MAX_TEXT_BYTES);
}

}  // namespace
}  // namespace DeviceDiscovery
