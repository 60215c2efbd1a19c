// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include "agent/Options.h"

namespace {

XCode parse(std::vector<const char*> words, Options& options) {
  std::vector<char*> arguments{const_cast<char*>("discovery-agent")};
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

TEST(OptionsTest, RunHasItsDefaults) {
  Options options;
  ASSERT_TRUE(parse({"run"}, options).isSuccess());
  EXPECT_EQ(options.command, Options::Command::RUN);
  EXPECT_EQ(options.link, Options::LinkKind::STDIO);
  EXPECT_EQ(options.log, Options::Log::STDERR);
  EXPECT_EQ(options.verbosity, 0U);
  EXPECT_FALSE(options.clearBeforeUpdate);
  EXPECT_EQ(options.processLimits.runSeconds, 21600U);
  EXPECT_EQ(options.processLimits.outputBytes, 16777216U);
  EXPECT_EQ(options.processLimits.executeSeconds, 30U);
  EXPECT_EQ(options.messageLimit, 16777216U);
}

TEST(OptionsTest, RunTakesAllOfItsOptions) {
  Options options;
  ASSERT_TRUE(parse({"run", "--link", "unix:/run/x", "--database=/d", "--plan", "/p", "--clear-before-update",
                     "--command-limit", "5", "--output-limit=0", "--message-limit", "7", "--node-limit", "9", "--log",
                     "syslog", "--verbosity", "3"},
                    options)
                  .isSuccess());
  EXPECT_EQ(options.link, Options::LinkKind::UNIX);
  EXPECT_EQ(options.socketPath, "/run/x");
  EXPECT_EQ(options.database, "/d");
  EXPECT_EQ(options.plan, "/p");
  EXPECT_TRUE(options.clearBeforeUpdate);
  EXPECT_EQ(options.processLimits.runSeconds, 5U);
  EXPECT_EQ(options.processLimits.outputBytes, 0U);
  EXPECT_EQ(options.messageLimit, 7U);
  EXPECT_EQ(options.nodeLimit, 9U);
  EXPECT_EQ(options.log, Options::Log::SYSLOG);
  EXPECT_EQ(options.verbosity, 3U);
}

TEST(OptionsTest, ScanTakesSeveralInterfaces) {
  Options options;
  ASSERT_TRUE(parse({"scan", "--json", "--interface", "^a", "--interface", "b"}, options).isSuccess());
  EXPECT_EQ(options.command, Options::Command::SCAN);
  EXPECT_TRUE(options.json);
  ASSERT_EQ(options.interfaces.size(), 2U);
  EXPECT_EQ(options.interfaces[1], "b");
}

TEST(OptionsTest, ScanTakesSeveralServicesEachOnce) {
  Options options;
  ASSERT_TRUE(
      parse({"scan", "--service", "http:8080", "--service=ping:0", "--service", "http:8080"}, options).isSuccess());
  ASSERT_EQ(options.services.size(), 2U);
  EXPECT_STREQ(options.services[0].name, "http");
  EXPECT_EQ(options.services[0].port, 8080U);
}

TEST(OptionsTest, HelpAndVersionNeedNoCommand) {
  Options options;
  ASSERT_TRUE(parse({"--help"}, options).isSuccess());
  EXPECT_EQ(options.command, Options::Command::HELP);
  ASSERT_TRUE(parse({"--version"}, options).isSuccess());
  EXPECT_EQ(options.command, Options::Command::VERSION);
  ASSERT_TRUE(parse({"scan", "-h"}, options).isSuccess());
  EXPECT_EQ(options.command, Options::Command::HELP);
}

TEST(OptionsTest, ErrorsNameTheWordThatCannotBeUsed) {
  EXPECT_EQ(errorOf({}), "expecting a command: run, scan or interfaces");
  EXPECT_EQ(errorOf({"walk"}), "unknown command: walk");
  EXPECT_EQ(errorOf({"run", "--nonsense"}), "unknown option: --nonsense");
  EXPECT_EQ(errorOf({"run", "--json"}), "unknown option: --json");
  EXPECT_EQ(errorOf({"scan", "--plan", "x"}), "unknown option: --plan");
  EXPECT_EQ(errorOf({"run", "-x"}), "unknown option: -x");
  EXPECT_EQ(errorOf({"run", "--link"}), "--link needs a value: stdio|unix:PATH");
  EXPECT_EQ(errorOf({"run", "more"}), "unexpected argument: more");
  EXPECT_EQ(errorOf({"run", "--link", "mqtt://host"}),
            "unusable value for --link: \"mqtt://host\", expecting stdio or unix:PATH");
  EXPECT_EQ(errorOf({"run", "--verbosity", "4"}),
            "unusable value for --verbosity: \"4\", expecting a number from 0 to 3");
  EXPECT_EQ(errorOf({"run", "--command-limit", "4294967296"}),
            "unusable value for --command-limit: \"4294967296\", expecting a number from 0 to 4294967295");
  EXPECT_EQ(errorOf({"run", "--output-limit", " 1"}),
            "unusable value for --output-limit: \" 1\", expecting a number from 0 to 18446744073709551615");
  EXPECT_EQ(errorOf({"scan", "--interface", "("}),
            "unusable value for --interface: \"(\", expecting a regular expression: missing ): (");
  EXPECT_EQ(errorOf({"scan", "--service", "ftp:21"}),
            "unusable value for --service: \"ftp:21\", expecting sip, http, https, snmp or ping, a colon and a port up "
            "to 65535");
  EXPECT_EQ(errorOf({"scan", "--service", "http:65536"}),
            "unusable value for --service: \"http:65536\", expecting sip, http, https, snmp or ping, a colon and a "
            "port up to 65535");
  EXPECT_EQ(errorOf({"scan", "--service"}), "--service needs a value: NAME:PORT");
  EXPECT_EQ(errorOf({"run", "--service", "http:80"}), "unknown option: --service");
}

TEST(OptionsTest, AnEmptyValueIsNotTheSameAsNone) {
  for (const char* option : {"--link", "--database", "--plan", "--log", "--verbosity", "--message-limit"}) {
    EXPECT_NE(std::string(errorOf({"run", option, ""})).find("unusable value"), std::string::npos) << option;
  }
  for (const char* option : {"--interface", "--service", "--database"}) {
    EXPECT_NE(std::string(errorOf({"scan", option, ""})).find("unusable value"), std::string::npos) << option;
  }
}

TEST(OptionsTest, AScanIsQuickUnlessThoroughIsAskedFor) {
  Options options;
  ASSERT_TRUE(parse({"scan"}, options).isSuccess());
  EXPECT_FALSE(options.thorough);
  EXPECT_EQ(options.maxAddresses, 4096U);
  ASSERT_TRUE(parse({"scan", "--thorough", "--max-addresses", "65536"}, options).isSuccess());
  EXPECT_TRUE(options.thorough);
  EXPECT_EQ(options.maxAddresses, 65536U);
  EXPECT_NE(errorOf({"scan", "--max-addresses", "0"}).view().find("unusable value"), std::string_view::npos);
  EXPECT_EQ(errorOf({"run", "--thorough"}), "unknown option: --thorough");
}

TEST(OptionsTest, InterfacesAreShownByTheRulesOfAScan) {
  Options options;
  ASSERT_TRUE(parse({"interfaces", "--interface", "^lan", "--database", "/config"}, options).isSuccess());
  EXPECT_EQ(options.command, Options::Command::INTERFACES);
  EXPECT_EQ(options.interfaces.size(), 1U);
  EXPECT_EQ(options.database, "/config");
  EXPECT_EQ(errorOf({"interfaces", "--json"}), "unknown option: --json");
}

}  // namespace
