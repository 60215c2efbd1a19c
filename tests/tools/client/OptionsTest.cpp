// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/client/Options.h"

namespace DeviceDiscovery::Client {
namespace {

// A command line in memory of its own, which may be overwritten.
class CommandLine {
 public:
  explicit CommandLine(const std::vector<std::string>& words) : words_(words) {
    words_.insert(words_.begin(), "discovery-client");
    for (std::string& word : words_) pointers_.push_back(word.data());
    pointers_.push_back(nullptr);
  }

  XCode parse(Options& options) { return parseOptions(static_cast<int>(words_.size()), pointers_.data(), options); }
  bool shows(const std::string& text) const {
    for (const std::string& word : words_) {
      if (word.find(text) != std::string::npos) return true;
    }
    return false;
  }

 private:
  std::vector<std::string> words_;
  std::vector<char*> pointers_;
};

Options parsed(const std::vector<std::string>& words) {
  Options options;
  const XCode result = CommandLine(words).parse(options);
  EXPECT_TRUE(result.isSuccess()) << result.toString().c_str();
  return options;
}

std::string errorOf(const std::vector<std::string>& words) {
  Options options;
  const XCode result = CommandLine(words).parse(options);
  EXPECT_TRUE(result.isErr());
  return result.toString().c_str();
}

TEST(OptionsTest, AnInterfaceIsAskedForItsDevices) {
  const Options options = parsed({"-j", "-i", "lan0"});
  EXPECT_EQ(options.command, Options::Command::DISCOVER);
  EXPECT_EQ(options.interface, "lan0");
  EXPECT_TRUE(options.json);
  EXPECT_EQ(options.timeoutMs, 0U);
  EXPECT_EQ(parsed({"--interface=lan0", "--timeout", "1600"}).timeoutMs, 1600U);
}

TEST(OptionsTest, AScanHasTheTimeThatDevicesTake) {
  for (const char* milliseconds : {"100", "500", "1599"}) {
    EXPECT_EQ(errorOf({"-i", "lan0", "--timeout", milliseconds}),
              "expecting a --timeout of at least 1600 for a scan: devices take a second to answer");
  }
  EXPECT_EQ(parsed({"-d", "10.0.0.1", "-b", "--timeout", "100"}).timeoutMs, 100U);
}

TEST(OptionsTest, ADeviceIsMadeToBlink) {
  const Options options = parsed({"-d", "192.168.1.20", "-b"});
  EXPECT_EQ(options.command, Options::Command::BLINK);
  EXPECT_EQ(options.device, 0xc0a80114U);
}

TEST(OptionsTest, ADeviceIsHandedItsKey) {
  const Options options = parsed({"-d", "192.168.1.20", "-o", "K:s:1", "--psk-file", "/f"});
  EXPECT_EQ(options.command, Options::Command::ONBOARD);
  EXPECT_EQ(options.organisation.key, "K");
  EXPECT_EQ(options.organisation.server, "s:1");
  EXPECT_EQ(options.pskFile, "/f");
}

TEST(OptionsTest, AKeyMayLookLikeAnOption) {
  EXPECT_EQ(parsed({"-d", "10.0.0.1", "-o", "-b"}).organisation.key, "-b");
  EXPECT_EQ(parsed({"-d", "10.0.0.1", "-o", "--help:x"}).organisation.key, "--help");
}

TEST(OptionsTest, TheKeyIsNoLongerOnTheCommandLine) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{"-d", "10.0.0.1", "-o", "SECRET:server"},
                                                {"-d", "10.0.0.1", "-oSECRET:server"},
                                                {"-d", "10.0.0.1", "--onboard=SECRET:server"},
                                                {"-d", "10.0.0.1", "-o", "SECRET\n"}}) {
    CommandLine line(words);
    Options options;
    static_cast<void>(line.parse(options));
    EXPECT_FALSE(line.shows("SECRET"));
    EXPECT_FALSE(line.shows("server"));
    EXPECT_TRUE(line.shows("10.0.0.1"));
  }
}

TEST(OptionsTest, NoErrorRepeatsWhatCouldBeTheKey) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{"-d", "10.0.0.1", "-o", "SECRET\x01"},
                                                {"-d", "10.0.0.1", "-o", "K", "SECRET"},
                                                {"-d", "10.0.0.1", "-bySECRET"},
                                                {"-d", "10.0.0.1", "--onbard=SECRET"},
                                                {"-d", "10.0.0.1", "--blink=SECRET"},
                                                {"-o", "SECRET"},
                                                {"-d", "10.0.0.1", "-i", "lan0", "-o", "SECRET"},
                                                {"-d", "10.0.0.1", "-b", "-o", "SECRET"}}) {
    EXPECT_EQ(errorOf(words).find("SECRET"), std::string::npos) << errorOf(words);
  }
}

TEST(OptionsTest, AKeyGoesToOneDeviceAndToNoGroup) {
  for (const char* address : {"224.0.1.187", "255.255.255.255", "0.0.0.0", "10.0.0", "10.0.0.1/8", "host", "", "::1"}) {
    errorOf({"-d", address, "-b"});
  }
}

TEST(OptionsTest, CommandsThatMakeNoSenseAreErrors) {
  errorOf({});
  errorOf({"-j"});
  errorOf({"-b"});
  errorOf({"-i"});
  errorOf({"-d", "10.0.0.1"});
  errorOf({"-d", "10.0.0.1", "-j", "-b"});
  errorOf({"-i", "lan0", "-b"});
  errorOf({"-i", "lan0", "more"});
  errorOf({"-x"});
  for (const char* time : {"", "0", "99", "60001", "-1", "1s", "4294967297"})
    errorOf({"-i", "lan0", "--timeout", time});
}

TEST(OptionsTest, HelpAndVersionNeedNothingElse) {
  EXPECT_EQ(parsed({"--help"}).command, Options::Command::HELP);
  EXPECT_EQ(parsed({"--version"}).command, Options::Command::VERSION);
  EXPECT_NE(std::string(usage().c_str()).find("--psk-file"), std::string::npos);
}

}  // namespace
}  // namespace DeviceDiscovery::Client
