// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/servicescan/Options.h"

namespace ServiceScan {
namespace {

XCode parse(std::vector<const char*> words, Options& options) {
  std::vector<char*> arguments{const_cast<char*>("servicescan")};
  for (const char* word : words) arguments.push_back(const_cast<char*>(word));
  const int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  return parseOptions(count, arguments.data(), options);
}

String errorOf(std::vector<const char*> words) {
  Options options;
  const XCode result = parse(std::move(words), options);
  EXPECT_TRUE(result.isErr());
  return result.toString();
}

TEST(OptionsTest, AFileIsEnough) {
  Options options;
  ASSERT_TRUE(parse({"-t", "/targets"}, options).isSuccess());
  EXPECT_EQ(options.command, Options::Command::SCAN);
  EXPECT_EQ(options.targetFile, "/targets");
  EXPECT_FALSE(options.json);
  EXPECT_EQ(options.community, "public");
  EXPECT_EQ(options.sweep.timeoutMs, 1000U);
  EXPECT_EQ(options.sweep.tries, 2U);
  EXPECT_FALSE(options.sweep.isPatient);
  EXPECT_EQ(options.sweep.parallel, 4096U);
  EXPECT_EQ(options.sweep.packetsPerSecond, 0U);
}

TEST(OptionsTest, TargetsStandInThePlaceOfAFile) {
  Options options;
  ASSERT_TRUE(parse({"10.0.0.0/24", "-j", "http", "--", "snmp:161"}, options).isSuccess());
  EXPECT_EQ(options.targets, (std::vector<String>{"10.0.0.0/24", "http", "snmp:161"}));
  EXPECT_TRUE(options.targetFile.isEmpty());
}

TEST(OptionsTest, EachOptionIsTaken) {
  Options options;
  ASSERT_TRUE(parse({"--targets=/t", "--json", "--timeout", "250", "--tries", "3", "--community", "s3cret",
                     "--parallel", "17", "--rate=99", "--patient"},
                    options)
                  .isSuccess());
  EXPECT_EQ(options.targetFile, "/t");
  EXPECT_TRUE(options.json);
  EXPECT_EQ(options.community, "s3cret");
  EXPECT_EQ(options.sweep.timeoutMs, 250U);
  EXPECT_EQ(options.sweep.tries, 3U);
  EXPECT_TRUE(options.sweep.isPatient);
  EXPECT_EQ(options.sweep.parallel, 17U);
  EXPECT_EQ(options.sweep.packetsPerSecond, 99U);
}

TEST(OptionsTest, LettersMayStandTogether) {
  for (const std::vector<const char*>& words :
       {std::vector<const char*>{"-jt", "/t"}, {"-jt/t"}, {"-t", "/t", "-j"}, {"-j", "-t/t"}}) {
    Options options;
    ASSERT_TRUE(parse(words, options).isSuccess());
    EXPECT_TRUE(options.json);
    EXPECT_EQ(options.targetFile, "/t");
  }
}

TEST(OptionsTest, TheLastOfEqualOptionsWins) {
  Options options;
  ASSERT_TRUE(parse({"-t", "/a", "--tries", "5", "-t", "/b", "--tries", "6"}, options).isSuccess());
  EXPECT_EQ(options.targetFile, "/b");
  EXPECT_EQ(options.sweep.tries, 6U);
}

TEST(OptionsTest, HelpAndVersionNeedNoFile) {
  Options help;
  ASSERT_TRUE(parse({"--help", "--nonsense"}, help).isSuccess());
  EXPECT_EQ(help.command, Options::Command::HELP);
  Options version;
  ASSERT_TRUE(parse({"--version"}, version).isSuccess());
  EXPECT_EQ(version.command, Options::Command::VERSION);
}

TEST(OptionsTest, WithoutAFileThereIsNothingToDo) {
  EXPECT_EQ(errorOf({}), "expecting targets, or -t FILE with targets");
  EXPECT_EQ(errorOf({"-j"}), "expecting targets, or -t FILE with targets");
  EXPECT_EQ(errorOf({"-t", ""}), "unusable value for --targets: \"\", expecting FILE");
}

TEST(OptionsTest, WhatIsNotUnderstoodIsNamed) {
  EXPECT_EQ(errorOf({"-t", "/t", "--fast"}), "unknown option: --fast");
  EXPECT_EQ(errorOf({"-x"}), "unknown option: -x");
  EXPECT_EQ(errorOf({"-t", "/t", "-xj"}), "unknown option: -x");
  EXPECT_EQ(errorOf({"-jx"}), "unknown option: -x");
  EXPECT_EQ(errorOf({"--json=yes"}), "--json takes no value");
  EXPECT_EQ(errorOf({"--patient=yes"}), "--patient takes no value");
  EXPECT_EQ(errorOf({"-t", "/t", "10.0.0.1"}), "expecting targets, or -t FILE with targets");
  EXPECT_EQ(errorOf({"-t"}), "-t needs a value: FILE");
  EXPECT_EQ(errorOf({"--rate"}), "--rate needs a value: N");
}

TEST(OptionsTest, NumbersHaveTheirLimits) {
  struct {
    const char* option;
    std::vector<const char*> good;
    std::vector<const char*> bad;
  } const cases[] = {
      {"timeout", {"1", "3600000"}, {"0", "3600001"}},
      {"tries", {"1", "100"}, {"0", "101"}},
      {"parallel", {"1", "1000000"}, {"0", "1000001"}},
      {"rate", {"0", "10000000"}, {"10000001"}},
  };
  for (const auto& [option, good, bad] : cases) {
    const std::string name = std::string("--") + option;
    for (const char* value : good) {
      Options options;
      EXPECT_TRUE(parse({"-t", "/t", name.c_str(), value}, options).isSuccess()) << name << ' ' << value;
    }
    std::vector<const char*> refused = bad;
    refused.insert(refused.end(),
                   {"", "-1", "+1", " 1", "1 ", "1x", "x", "0x10", "1.5", "4294967297", "99999999999999999999"});
    for (const char* value : refused) {
      const std::string start = "unusable value for " + name + ": \"" + value + "\", expecting ";
      EXPECT_EQ(std::string(errorOf({"-t", "/t", name.c_str(), value})).find(start), 0U) << name << ' ' << value;
    }
  }
}

TEST(OptionsTest, ACommunityHasOneTo255Bytes) {
  Options options;
  const std::string longest(255, 'c');
  ASSERT_TRUE(parse({"-t", "/t", "--community", longest.c_str()}, options).isSuccess());
  EXPECT_EQ(options.community, longest.c_str());
  // It is a secret and not repeated.
  EXPECT_EQ(errorOf({"-t", "/t", "--community", (longest + "c").c_str()}),
            "unusable value for --community: expecting at most 255 bytes");
  EXPECT_EQ(errorOf({"-t", "/t", "--community", ""}), "unusable value for --community: expecting TEXT");
}

TEST(OptionsTest, TheUsageNamesEveryOption) {
  const String help = usage();
  const std::string_view text = help.view();
  for (const char* option : {"-t, --targets", "-j, --json", "--timeout", "--tries", "--community", "--parallel",
                             "--rate", "--patient", "--version", "--help"}) {
    EXPECT_NE(text.find(option), std::string_view::npos) << option;
  }
}

TEST(OptionsTest, ASweepNeedsANetworkAndNoTargets) {
  Options options;
  ASSERT_TRUE(parse({"--sweep", "192.0.2.0/24", "--max-addresses", "17", "-j"}, options).isSuccess());
  EXPECT_EQ(options.command, Options::Command::SWEEP);
  EXPECT_EQ(options.sweepNetwork.toString(), "192.0.2.0");
  EXPECT_EQ(options.sweepNetwork.getV4NetMaskAsBinaryUInt32(), 0xffffff00U);
  EXPECT_EQ(options.maxAddresses, 17U);
  EXPECT_EQ(errorOf({"--sweep", "192.0.2.0/24", "-t", "/targets"}), "--sweep takes no targets");
  for (const char* const network : {"lan0", "192.0.2.0/33", "192.0.2", "192.0.2.0/"}) {
    EXPECT_NE(errorOf({"--sweep", network}).view().find("expecting an address"), std::string_view::npos) << network;
  }
}

}  // namespace
}  // namespace ServiceScan
