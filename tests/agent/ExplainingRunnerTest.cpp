// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent/ExplainingRunner.h"
#include "platform/testing/FakeShell.h"
#include "platform/testing/VirtualEventLoop.h"

namespace {

using KX::Testing::FakeShell;
using KX::Testing::VirtualEventLoop;

class ExplainingRunnerTest : public testing::Test {
 protected:
  // How the command ends, as its caller hears it.
  String run() {
    const ExplainingRunner runner(loop_, shell_);
    KX::Future<String> future;
    XCode end;
    const XCode result = KX::Shell::invoke(
        "tool"_s,
        [&end, this](XCode code, String rest) {
          end = code;
          rest_ = rest;
        },
        [](String) {}, [this](String piece) { errors_.append(piece); }, future);
    EXPECT_TRUE(result.isSuccess());
    loop_.settle();
    return end.isErr() ? end.toString() : String();
  }

  VirtualEventLoop loop_;
  FakeShell shell_{loop_};
  String rest_;
  String errors_;
};

TEST_F(ExplainingRunnerTest, TheLastErrorLineStandsBehindTheExitStatus) {
  shell_.on("tool").printsError("warming up\nYou need to be").printsError(" root.\n\n").exits(1);
  EXPECT_EQ(run(), "Exit status 1 (You need to be root.)");
  EXPECT_EQ(errors_, "warming up\nYou need to be root.\n\n");
}

TEST_F(ExplainingRunnerTest, ALineWithoutAnEndCounts) {
  shell_.on("tool").printsError("a\r\nb").exits(2);
  EXPECT_EQ(run(), "Exit status 2 (b)");
}

TEST_F(ExplainingRunnerTest, WhoSaysNothingHasOnlyItsStatus) {
  shell_.on("tool").exits(3);
  EXPECT_EQ(run(), "Exit status 3");
}

TEST_F(ExplainingRunnerTest, ASuccessNeedsNoExplanation) {
  shell_.on("tool").printsError("all is well\n").ends(XCode(), "rest"_s);
  EXPECT_EQ(run(), "");
  EXPECT_EQ(rest_, "rest");
}

TEST_F(ExplainingRunnerTest, ALongLineIsCut) {
  shell_.on("tool").printsError(String(std::string(100'000, 'x'))).exits(1);
  EXPECT_LT(run().length(), 400U);
}

TEST_F(ExplainingRunnerTest, TheOtherRunnerIsBackAfterwards) {
  shell_.on("tool").exits(0);
  run();
  EXPECT_EQ(loop_.service<KX::Shell::Runner>(), &shell_);
}

}  // namespace
