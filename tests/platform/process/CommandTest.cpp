// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/process/Command.h"

namespace {

using KX::Shell::Command;

std::vector<std::string> argumentsOf(const Command& command) {
  std::vector<std::string> arguments;
  for (const String& argument : command.arguments()) arguments.emplace_back(argument.view());
  return arguments;
}

using Arguments = std::vector<std::string>;

TEST(CommandTest, LineIsSplitAtBlanksAndTabs) {
  const Command command(" arp-scan\t-q  -I eth0 ");
  EXPECT_EQ(argumentsOf(command), (Arguments{"arp-scan", "-q", "-I", "eth0"}));
  EXPECT_EQ(command.line(), " arp-scan\t-q  -I eth0 ");
}

TEST(CommandTest, NothingInALineHasAMeaningBeyondItself) {
  EXPECT_EQ(argumentsOf(Command("echo 'a b' $HOME %s;")), (Arguments{"echo", "'a", "b'", "$HOME", "%s;"}));
}

TEST(CommandTest, ValueStaysWithinItsArgument) {
  const Command command = Command::format("tool -o %s:%s -x", {"a b;\t\"c", "%s"});
  EXPECT_EQ(argumentsOf(command), (Arguments{"tool", "-o", "a b;\t\"c:%s", "-x"}));
  EXPECT_EQ(command.line(), "tool -o a b;\t\"c:%s -x");
}

TEST(CommandTest, AnotherProgramGetsTheSameArgumentsUnderTheSameLine) {
  const Command command = Command::format("/usr/bin/tool -t %s", {"a b"}).withProgram("/opt/my tools/tool");
  EXPECT_EQ(argumentsOf(command), (Arguments{"/opt/my tools/tool", "-t", "a b"}));
  EXPECT_EQ(command.line(), "/usr/bin/tool -t a b");
}

TEST(CommandTest, EmptyValueIsAnArgumentToo) {
  EXPECT_EQ(argumentsOf(Command::format("tool %s", {""})), (Arguments{"tool", ""}));
}

TEST(CommandTest, MissingValuesAreEmptyAndFurtherOnesUnused) {
  EXPECT_EQ(argumentsOf(Command::format("tool %s %s", {"a"})), (Arguments{"tool", "a", ""}));
  EXPECT_EQ(argumentsOf(Command::format("tool", {"a"})), (Arguments{"tool"}));
}

TEST(CommandTest, CheckRefusesTheEmptyCommand) {
  EXPECT_EQ(Command("").check().toString(), "Empty command");
  EXPECT_EQ(Command(" \t").check().toString(), "Empty command");
}

TEST(CommandTest, CheckRefusesANulInAnyArgument) {
  EXPECT_EQ(Command(String("a b\0c", 5)).check().toString(), "Argument contains a NUL byte");
  EXPECT_EQ(Command::format("a %s", {String("\0", 1)}).check().code(), XCode::GENERIC_ERROR);
  EXPECT_TRUE(Command("a b").check().isSuccess());
}

}  // namespace
