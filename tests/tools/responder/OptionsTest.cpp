// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/protocol/Protocol.h"
#include "tools/responder/Options.h"

namespace DeviceDiscovery::Responder {
namespace {

XCode parse(std::vector<std::string> words, Options& options) {
  words.insert(words.begin(), "discovery-responder");
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return parseOptions(static_cast<int>(words.size()), pointers.data(), options);
}

bool isRefused(const std::vector<std::string>& more) {
  std::vector<std::string> words{"--interface", "lan0", "--model", "M"};
  words.insert(words.end(), more.begin(), more.end());
  Options options;
  return parse(words, options).isErr();
}

TEST(OptionsTest, AnInterfaceAndAModelAreEnough) {
  Options options;
  ASSERT_TRUE(parse({"--interface", "lan0", "--model", "M"}, options).isSuccess());
  EXPECT_EQ(options.interface, "lan0");
  EXPECT_EQ(options.description.model, "M");
  EXPECT_EQ(options.description.build, "");
  EXPECT_FALSE(options.description.supportsOnboarding);
  EXPECT_EQ(options.user, "discovery-responder");
  EXPECT_EQ(options.stateDirectory, "/var/lib/discovery-responder");
}

TEST(OptionsTest, EachOptionIsTaken) {
  Options options;
  ASSERT_TRUE(parse({"--interface=lan0", "--model=M", "--build=B", "--supports-onboarding", "--user=u",
                     "--state-directory=/s", "--psk-file=/p", "--blink-led=green:power", "--blink-duration=3",
                     "--onboard-program=/o", "--hook-timeout=7", "--led-directory=/l"},
                    options)
                  .isSuccess());
  EXPECT_EQ(options.description.build, "B");
  EXPECT_TRUE(options.description.supportsOnboarding);
  EXPECT_EQ(options.user, "u");
  EXPECT_EQ(options.stateDirectory, "/s");
  EXPECT_EQ(options.pskFile, "/p");
  EXPECT_EQ(options.blinkLed, "green:power");
  EXPECT_EQ(options.blinkSeconds, 3U);
  EXPECT_EQ(options.onboardProgram, "/o");
  EXPECT_EQ(options.hookSeconds, 7U);
  EXPECT_EQ(options.ledDirectory, "/l");
}

TEST(OptionsTest, TheTextsFitIntoAMessage) {
  Options options;
  ASSERT_TRUE(
      parse({"--interface=i", "--model=" + std::string(2000, '"'), "--build=" + std::string(2000, '\\')}, options)
          .isSuccess());
  EXPECT_LT(options.description.toJson().length() + 16, MAX_MESSAGE_BYTES);
}

TEST(OptionsTest, WhatMakesNoSenseIsRefused) {
  Options modelOnly;
  EXPECT_TRUE(parse({"--model", "M"}, modelOnly).isErr());
  Options interfaceOnly;
  EXPECT_TRUE(parse({"--interface", "lan0"}, interfaceOnly).isErr());
  EXPECT_FALSE(isRefused({}));
  EXPECT_TRUE(isRefused({"more"}));
  EXPECT_TRUE(isRefused({"--unknown"}));
  EXPECT_TRUE(isRefused({"--user"}));
  EXPECT_TRUE(isRefused({"--user="}));
  EXPECT_TRUE(isRefused({"--model="}));
  EXPECT_TRUE(isRefused({"--hook-timeout=0"}));
  EXPECT_TRUE(isRefused({"--blink-duration=3601"}));
  EXPECT_TRUE(isRefused({"--blink-duration=1s"}));
  EXPECT_TRUE(isRefused({"--blink-led=a", "--blink-program=/b"}));
  EXPECT_TRUE(isRefused({"--blink-led=../../etc/passwd"}));
  EXPECT_TRUE(isRefused({"--onboard-program=/o"}));
}

}  // namespace
}  // namespace DeviceDiscovery::Responder
