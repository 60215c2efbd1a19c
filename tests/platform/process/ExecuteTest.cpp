// SPDX-License-Identifier: Apache-2.0
// Commands that are waited for.
#include <csignal>

#include "platform/process/StopSignals.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/platform/process/RunnerTest.h"

namespace {

using KX::Shell::Command;
using KX::Shell::ProcessLimits;

class ExecuteTest : public RunnerTest {};
INSTANTIATE_BOTH_WAYS(ExecuteTest);

TEST_P(ExecuteTest, ExitStatusZeroIsSuccess) { EXPECT_TRUE(runner_->execute(Command("true")).isSuccess()); }

TEST_P(ExecuteTest, OtherExitStatusIsAnErrorThatNamesIt) {
  const XCode result = runner_->execute(child("exit 7"));
  EXPECT_EQ(result.code(), XCode::GENERIC_ERROR);
  EXPECT_EQ(result.toString(), "Exit status 7");
}

TEST_P(ExecuteTest, DeathBySignalIsAnErrorThatNamesIt) {
  EXPECT_EQ(runner_->execute(child("kill-itself 9")).toString(), "Killed by signal 9");
}

TEST_P(ExecuteTest, WhatCannotBeStartedIsAnError) {
  EXPECT_EQ(runner_->execute(Command("no-such-program-anywhere")).code(), 1000 + ENOENT);
  EXPECT_EQ(runner_->execute(Command("")).toString(), "Empty command");
  EXPECT_EQ(runner_->execute(Command::format("echo %s", {String("\0", 1)})).toString(), "Argument contains a NUL byte");
}

TEST_P(ExecuteTest, OutputIsThrownAwayAndHoldsNobodyUp) {
  EXPECT_TRUE(runner_->execute(child("spam 10000000")).isSuccess());
  EXPECT_TRUE(runner_->execute(child("spam-error 10000000")).isSuccess());
}

TEST_P(ExecuteTest, ItInheritsNoDescriptorAndNoInput) {
  EXPECT_TRUE(runner_->execute(child("count-input")).isSuccess());
  const std::string list = folder() + "/list";
  const KX::Shell::Descriptor leaky(dup(STDERR_FILENO));
  // The shell is told by the test itself to print into a file.
  const Command command =
      Command::format("/bin/sh -c %s", {String::format("%s descriptors >%s", CHILD_COMMAND, list.c_str())});
  ASSERT_TRUE(runner_->execute(command).isSuccess());
  const KX::Shell::Descriptor file(open(list.c_str(), O_RDONLY | O_CLOEXEC));
  char text[64];
  const ssize_t length = read(file.get(), text, sizeof(text));
  EXPECT_EQ(std::string(text, static_cast<std::size_t>(std::max<ssize_t>(length, 0))), "0 1 2 ");
}

TEST_P(ExecuteTest, TimeLimitKillsTheGroupAndNamesTheBound) {
  restart(ProcessLimits{.executeSeconds = 1});
  const LifeLine lifeLine(folder());
  const XCode result = runner_->execute(child("hang-with-grandchild " + lifeLine.path()));
  EXPECT_EQ(result.toString(), "Run time limit of 1 s exceeded");
  EXPECT_TRUE(lifeLine.isCut());
}

TEST_P(ExecuteTest, ALowerRunTimeLimitBoundsItToo) {
  restart(ProcessLimits{.runSeconds = 1});
  EXPECT_EQ(runner_->execute(child("hang")).toString(), "Run time limit of 1 s exceeded");
}

TEST_P(ExecuteTest, AStopSignalKillsWhatIsWaitedForAndTheRestIsRefused) {
  const KX::Shell::StopSignals stopSignals;
  runner_->endWaitsOn(stopSignals.descriptor());
  EXPECT_TRUE(runner_->execute(Command("true")).isSuccess());
  const LifeLine lifeLine(folder());
  // What is waited for asks its parent to end.
  const std::string command = "kill -TERM $PPID; exec " CHILD_COMMAND " hang-with-grandchild " + lifeLine.path();
  EXPECT_EQ(runner_->execute(Command::format("/bin/sh -c %s", {String(command)})).toString(), "Stopped");
  const std::string trace = folder() + "/trace";
  EXPECT_EQ(runner_->execute(Command::format("touch %s", {String(trace)})).toString(), "Stopped");
  EXPECT_FALSE(std::filesystem::exists(trace));
  runner_->endWaitsOn(-1);
  EXPECT_TRUE(runner_->execute(Command("true")).isSuccess());
}

TEST_P(ExecuteTest, WhatIsLeftOfTheGroupIsKilled) {
  const LifeLine lifeLine(folder());
  EXPECT_TRUE(runner_->execute(child("leave-grandchild " + lifeLine.path())).isSuccess());
  EXPECT_TRUE(lifeLine.isCut());
}

TEST_P(ExecuteTest, LeavesTheLoopAlone) {
  KX::Testing::VirtualEventLoop virtualLoop;
  KX::Shell::ProcessRunner runner(virtualLoop, {}, GetParam());
  virtualLoop.post([] { FAIL(); });
  EXPECT_TRUE(runner.execute(Command("true")).isSuccess());
  EXPECT_EQ(virtualLoop.elapsed().count(), 0);
}

TEST_P(ExecuteTest, CommandsThatRunBesideItAreUntouched) {
  Outcome outcome;
  ASSERT_TRUE(start(child("exit 5"), outcome).isSuccess());
  EXPECT_TRUE(runner_->execute(Command("true")).isSuccess());
  loop().run();
  EXPECT_EQ(outcome.endText(), "Exit status 5");
}

}  // namespace
