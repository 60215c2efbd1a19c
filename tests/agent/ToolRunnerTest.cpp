// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "agent/ToolRunner.h"
#include "platform/testing/VirtualEventLoop.h"

namespace {

using KX::Shell::Command;

// Keeps the arguments of the last command.
class LastCommand final : public KX::Shell::Runner {
 public:
  XCode invoke(const Command& command, KX::Shell::Terminated /*terminated*/, KX::Shell::Output /*output*/,
               KX::Shell::Output /*errorOutput*/, KX::Future<String>& /*future*/) override {
    return execute(command);
  }
  XCode execute(const Command& command) override {
    seen.clear();
    for (const String& argument : command.arguments()) seen.append("[").append(argument.view()).append("]");
    line = command.line();
    return XCode();
  }

  std::string seen;
  String line;
};

TEST(ToolRunnerTest, TheProgramNamedByItsPathIsReplacedAndTheLineStays) {
  LastCommand last;
  ToolRunner tools(last, "/opt/my tools/scan"_s);
  KX::Future<String> future;
  EXPECT_TRUE(tools.invoke(Command("/usr/bin/servicescan -j -t /tmp/x"), {}, {}, {}, future).isSuccess());
  EXPECT_EQ(last.seen, "[/opt/my tools/scan][-j][-t][/tmp/x]");
  EXPECT_EQ(last.line, "/usr/bin/servicescan -j -t /tmp/x");
}

TEST(ToolRunnerTest, OtherProgramsStay) {
  LastCommand last;
  ToolRunner tools(last, "/opt/scan"_s);
  EXPECT_TRUE(tools.execute(Command("arp-scan /usr/bin/servicescan")).isSuccess());
  EXPECT_EQ(last.seen, "[arp-scan][/usr/bin/servicescan]");
  EXPECT_TRUE(tools.execute(Command("")).isSuccess());
  EXPECT_EQ(last.seen, "");
}

TEST(ToolRunnerTest, WithoutAChoiceNothingIsReplaced) {
  LastCommand last;
  ToolRunner tools(last, String());
  EXPECT_TRUE(tools.execute(Command("/usr/bin/servicescan -j")).isSuccess());
  EXPECT_EQ(last.seen, "[/usr/bin/servicescan][-j]");
}

}  // namespace
