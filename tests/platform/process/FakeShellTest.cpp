// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include "platform/testing/FakeShell.h"
#include "platform/testing/VirtualEventLoop.h"

namespace {

using namespace std::chrono_literals;
using KX::Shell::Command;
using KX::Testing::FakeShell;

class FakeShellTest : public testing::Test {
 protected:
  XCode invoke(const char* line) {
    return shell_->invoke(
        Command(line),
        [this](const XCode& code, const String& rest) {
          log_ += "end(" + std::string(code.toString().view()) + "," + std::string(rest.view()) + ") ";
        },
        [this](const String& piece) { log_ += "out(" + std::string(piece.view()) + ") "; },
        [this](const String& piece) { log_ += "err(" + std::string(piece.view()) + ") "; }, future_);
  }
  void start(const char* line) { ASSERT_TRUE(invoke(line).isSuccess()); }

  KX::Testing::VirtualEventLoop loop_;
  std::unique_ptr<FakeShell> shell_ = std::make_unique<FakeShell>(loop_);
  KX::Future<String> future_;
  std::string log_;
};

TEST_F(FakeShellTest, ScriptRunsStepByStepButNeverInsideInvoke) {
  shell_->on("tool").prints("a").printsError("b").prints("c");
  start("tool");
  EXPECT_TRUE(future_);
  EXPECT_EQ(log_, "");
  loop_.runPosted();
  EXPECT_EQ(log_, "out(a) err(b) out(c) end(,) ");
}

TEST_F(FakeShellTest, DelaysRunOnTheLoopsTime) {
  shell_->on("tool").prints("a").after(10ms).prints("b").after(5ms);
  start("tool");
  loop_.advance(9ms);
  EXPECT_EQ(log_, "out(a) ");
  loop_.advance(1ms);
  EXPECT_EQ(log_, "out(a) out(b) ");
  loop_.advance(5ms);
  EXPECT_EQ(log_, "out(a) out(b) end(,) ");
}

TEST_F(FakeShellTest, EndsAsTold) {
  shell_->on("fails").exits(3);
  shell_->on("leaves").ends(XCode::error("reason"), "rest");
  start("fails");
  start("leaves");
  loop_.runPosted();
  EXPECT_EQ(log_, "end(Exit status 3,) end(reason,rest) ");
}

TEST_F(FakeShellTest, UnknownCommandIsNotFound) {
  const XCode result = invoke("tool");
  EXPECT_EQ(result.code(), 1000 + ENOENT);
  EXPECT_EQ(result.toString(), "No such file or directory");
  EXPECT_FALSE(future_);
  EXPECT_EQ(shell_->execute(Command("tool")).code(), 1000 + ENOENT);
}

TEST_F(FakeShellTest, BadCommandsAreRefusedAsByTheRealOne) {
  shell_->onPrefix("");
  EXPECT_EQ(invoke(" ").toString(), "Empty command");
  EXPECT_EQ(shell_->execute(Command(String("a\0b", 3))).toString(), "Argument contains a NUL byte");
}

TEST_F(FakeShellTest, RefusalIsAnErrorOfInvoke) {
  shell_->on("tool").isRefused(XCode::error("No"));
  EXPECT_EQ(invoke("tool").toString(), "No");
  loop_.settle();
  EXPECT_EQ(log_, "");
}

TEST_F(FakeShellTest, ExactLineWinsThenTheLongestPrefix) {
  shell_->onPrefix("tool").prints("short");
  shell_->onPrefix("tool -x").prints("long");
  shell_->on("tool -x 1").prints("exact");
  start("tool -x 1");
  start("tool -x 2");
  start("tool");
  loop_.runPosted();
  EXPECT_EQ(log_, "out(exact) end(,) out(long) end(,) out(short) end(,) ");
}

TEST_F(FakeShellTest, LaterScriptTakesThePlaceOfTheFormerOne) {
  shell_->on("tool").prints("a");
  shell_->on("tool").prints("b");
  start("tool");
  loop_.runPosted();
  EXPECT_EQ(log_, "out(b) end(,) ");
}

TEST_F(FakeShellTest, RecordsWhatWasAskedFor) {
  shell_->on("tool");
  start("tool");
  static_cast<void>(invoke("unknown"));
  static_cast<void>(shell_->execute(Command("other")));
  EXPECT_EQ(shell_->invoked(), (std::vector<String>{"tool", "unknown"}));
  EXPECT_EQ(shell_->executed(), (std::vector<String>{"other"}));
}

TEST_F(FakeShellTest, ExecuteGivesTheEndAtOnce) {
  shell_->on("tool").after(10ms).exits(2);
  EXPECT_EQ(shell_->execute(Command("tool")).toString(), "Exit status 2");
  EXPECT_EQ(loop_.elapsed(), 0ms);
}

TEST_F(FakeShellTest, KillEndsTheCommandInALaterTurn) {
  shell_->on("tool").prints("a").hangs();
  start("tool");
  loop_.runPosted();
  EXPECT_TRUE(future_.handle()->kill(9).isSuccess());
  EXPECT_TRUE(future_.handle()->kill(9).isSuccess());
  EXPECT_EQ(log_, "out(a) ");
  loop_.runPosted();
  EXPECT_EQ(log_, "out(a) end(Killed by signal 9,) ");
  EXPECT_EQ(future_.handle()->kill(9).code(), 1000 + ESRCH);
}

TEST_F(FakeShellTest, KilledCommandPrintsNothingMore) {
  shell_->on("tool").prints("a").after(10ms).prints("b");
  start("tool");
  EXPECT_TRUE(future_.handle()->kill(15).isSuccess());
  loop_.advance(1s);
  EXPECT_EQ(log_, "end(Killed by signal 15,) ");
}

TEST_F(FakeShellTest, CloseKeepsFurtherOutputForTheEnd) {
  shell_->on("tool").prints("a").after(1ms).prints("b").printsError("e").prints("c").ends(XCode(), "d");
  start("tool");
  loop_.runPosted();
  EXPECT_TRUE(future_.handle()->close().isSuccess());
  loop_.advance(1ms);
  EXPECT_EQ(log_, "out(a) end(,bcd) ");
}

TEST_F(FakeShellTest, HangingCommandIsDrivenByHand) {
  shell_->on("tool").hangs();
  start("tool");
  start("tool");
  loop_.advance(1h);
  EXPECT_EQ(shell_->running(), (std::vector<String>{"tool", "tool"}));
  EXPECT_TRUE(shell_->print("tool", "a"));
  EXPECT_TRUE(shell_->printError("tool", "b"));
  EXPECT_TRUE(shell_->end("tool", XCode::error("over"), "rest"));
  EXPECT_EQ(log_, "out(a) err(b) end(over,rest) ");
  EXPECT_TRUE(shell_->end("tool", XCode()));
  EXPECT_FALSE(shell_->end("tool", XCode()));
  EXPECT_TRUE(shell_->running().empty());
}

TEST_F(FakeShellTest, CallbackMayDestroyTheShell) {
  shell_->on("tool").prints("a").prints("b");
  const auto destroy = [this](const String&) { shell_.reset(); };
  const auto never = [](const XCode&, const String&) { FAIL(); };
  ASSERT_TRUE(shell_->invoke(Command("tool"), never, destroy, {}, future_).isSuccess());
  loop_.settle();
  EXPECT_EQ(shell_, nullptr);
}

TEST_F(FakeShellTest, WhatStillRunsEndsInSilenceWithTheShell) {
  shell_->on("tool").after(1ms).prints("a");
  start("tool");
  loop_.runPosted();
  EXPECT_TRUE(future_.handle()->kill(9).isSuccess());
  shell_.reset();
  loop_.advance(1s);
  EXPECT_EQ(log_, "");
  EXPECT_EQ(loop_.service<KX::Shell::Runner>(), nullptr);
}

}  // namespace
