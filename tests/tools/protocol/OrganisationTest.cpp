// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "tools/protocol/Organisation.h"
#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery {
namespace {

Organisation fromArgument(const char* text) {
  Organisation organisation;
  EXPECT_TRUE(organisation.fromArgument(text).isSuccess()) << text;
  return organisation;
}

TEST(OrganisationTest, KeyEndsAtTheFirstColon) {
  EXPECT_EQ(fromArgument("K").key, "K");
  EXPECT_EQ(fromArgument("K").server, "");
  EXPECT_EQ(fromArgument("K:").server, "");
  const Organisation both = fromArgument("K:https://server:8443/x");
  EXPECT_EQ(both.key, "K");
  EXPECT_EQ(both.server, "https://server:8443/x");
}

TEST(OrganisationTest, WhatOneSideWritesTheOtherReads) {
  for (const char* text : {"K", "K:s:1", "a\"b\\c:\u00e9"}) {
    const Organisation written = fromArgument(text);
    Organisation read;
    ASSERT_TRUE(read.fromJson(written.toJson()).isSuccess());
    EXPECT_EQ(read.key, written.key);
    EXPECT_EQ(read.server, written.server);
  }
}

TEST(OrganisationTest, TheLongestFitsIntoAMessage) {
  const std::string text = std::string(MAX_KEY_BYTES, '"') + ":" + std::string(MAX_SERVER_BYTES, '"');
  EXPECT_LT(fromArgument(text.c_str()).toJson().length() + 64, MAX_MESSAGE_BYTES);
}

TEST(OrganisationTest, ItIsStoredAsTwoLines) {
  EXPECT_EQ(fromArgument("K:s").toLines(), "K\ns\n");
  EXPECT_EQ(fromArgument("K").toLines(), "K\n\n");
}

TEST(OrganisationTest, RefusalsDoNotRepeatTheKey) {
  const std::string tooLong(MAX_KEY_BYTES + 1, 'S');
  for (const std::string& text : {std::string(), std::string(":server"), std::string("SECRET\n"),
                                  std::string("SECRET\x7f"), std::string("SECRET\xff"), tooLong,
                                  std::string("SECRET:a\nb"), "SECRET:" + std::string(MAX_SERVER_BYTES + 1, 's')}) {
    Organisation organisation;
    const XCode result = organisation.fromArgument(text);
    EXPECT_TRUE(result.isErr()) << text;
    EXPECT_EQ(result.toString().view().find('S'), std::string_view::npos) << result.toString().c_str();
  }
}

TEST(OrganisationTest, OtherDocumentsAreRefusedWithoutRepeatingThem) {
  for (const char* text : {"", "SECRET", "[\"SECRET\"]", R"({"key":1})", R"({"key":""})", R"({"server":"SECRET"})",
                           R"({"key":"SECRET\n"})", "{\"key\":\"SECRET\xff\"}"}) {
    Organisation organisation;
    const XCode result = organisation.fromJson(text);
    EXPECT_TRUE(result.isErr()) << text;
    EXPECT_EQ(result.toString().view().find("SECRET"), std::string_view::npos);
  }
}

}  // namespace
}  // namespace DeviceDiscovery
