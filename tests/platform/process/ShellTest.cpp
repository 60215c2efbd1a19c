// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "platform/process/Shell.h"
#include "platform/testing/FakeShell.h"
#include "platform/testing/VirtualEventLoop.h"

namespace {

using KX::Shell::Command;

TEST(ShellTest, WithoutALoopThereIsNoRunner) {
  KX::Future<String> future;
  EXPECT_EQ(KX::Shell::invoke(Command("true"), {}, {}, {}, future).toString(), "No command runner on this thread");
  EXPECT_EQ(KX::Shell::execute(Command("true")).toString(), "No command runner on this thread");
}

TEST(ShellTest, LoopWithoutARunnerIsAnError) {
  const KX::Testing::VirtualEventLoop loop;
  KX::Future<String> future;
  EXPECT_TRUE(KX::Shell::invoke(Command("true"), {}, {}, {}, future).isErr());
  EXPECT_TRUE(KX::Shell::execute(Command("true")).isErr());
}

TEST(ShellTest, RunnerOfTheCurrentLoopGetsTheCommand) {
  KX::Testing::VirtualEventLoop loop;
  KX::Testing::FakeShell shell(loop);
  shell.on("tool -x").prints("text");
  int ends = 0;
  String output;
  KX::Future<String> future;
  const auto terminated = [&](const XCode&, const String&) { ++ends; };
  const auto print = [&](const String& piece) { output = piece; };
  ASSERT_TRUE(KX::Shell::invoke(Command("tool -x"), terminated, print, {}, future).isSuccess());
  EXPECT_TRUE(future);
  loop.settle();
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(output, "text");
  EXPECT_TRUE(KX::Shell::execute(Command("tool -x")).isSuccess());
  EXPECT_EQ(shell.executed().size(), 1U);
}

}  // namespace
