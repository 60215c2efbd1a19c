// SPDX-License-Identifier: Apache-2.0
// What callbacks may do to the command that calls them, and to its runner.
#include <csignal>

#include "tests/platform/process/RunnerTest.h"

namespace {

using KX::Shell::Command;

class ProcessRunnerReentrancyTest : public RunnerTest {
 protected:
  // Starts a command whose callbacks are given by the test.
  void invoke(const Command& command, KX::Shell::Terminated terminated, KX::Shell::Output output,
              KX::Shell::Output errorOutput) {
    const XCode started =
        runner_->invoke(command, std::move(terminated), std::move(output), std::move(errorOutput), future_);
    ASSERT_TRUE(started.isSuccess());
  }
  KX::Shell::Terminated noteEnd() {
    return [this](const XCode& code, const String& rest) {
      ++ends_;
      endText_ = code.toString().c_str();
      rest_ = rest.view();
      loop().stop();
    };
  }
  KX::Shell::Terminated mustNotEnd() {
    return [](const XCode&, const String&) { FAIL(); };
  }

  KX::Future<String> future_;
  int ends_ = 0;
  int pieces_ = 0;
  std::string endText_;
  std::string rest_;
};
INSTANTIATE_BOTH_WAYS(ProcessRunnerReentrancyTest);

TEST_P(ProcessRunnerReentrancyTest, OutputMayKillAndClose) {
  invoke(child("spam 0"), noteEnd(),
         [this](const String&) {
           ++pieces_;
           EXPECT_TRUE(future_.handle()->kill(SIGKILL).isSuccess());
           EXPECT_TRUE(future_.handle()->close().isSuccess());
         },
         {});
  loop().run();
  EXPECT_EQ(pieces_, 1);
  EXPECT_EQ(ends_, 1);
  EXPECT_EQ(endText_, "Killed by signal 9");
}

TEST_P(ProcessRunnerReentrancyTest, OutputMayDropTheHandle) {
  invoke(
      child("print text"), noteEnd(), [this](const String&) { future_.set(nullptr); },
      [this](const String&) { future_.set(nullptr); });
  loop().run();
  EXPECT_EQ(ends_, 1);
}

TEST_P(ProcessRunnerReentrancyTest, OutputMayDestroyTheRunner) {
  invoke(child("spam 0"), mustNotEnd(),
         [this](const String&) {
           ++pieces_;
           runner_.reset();
           loop().stop();
         },
         {});
  loop().run();
  runFor(5);
  EXPECT_EQ(pieces_, 1);
}

TEST_P(ProcessRunnerReentrancyTest, ErrorOutputMayDestroyTheRunnerAndTheHandle) {
  invoke(child("print-error text"), mustNotEnd(), {}, [this](const String&) {
    runner_.reset();
    future_.set(nullptr);
    loop().stop();
  });
  loop().run();
  runFor(5);
}

TEST_P(ProcessRunnerReentrancyTest, ErrorOutputLeftInThePipeMayDestroyTheRunner) {
  invoke(child("print-error text"), mustNotEnd(), {}, [this](const String&) {
    runner_.reset();
    loop().stop();
  });
  siginfo_t end{};
  ASSERT_EQ(waitid(P_ALL, 0, &end, WEXITED | WNOWAIT), 0);
  loop().run();
  runFor(5);
}

TEST_P(ProcessRunnerReentrancyTest, TerminationMayDestroyTheRunnerAndTheHandle) {
  invoke(Command("true"),
         [this](const XCode&, const String&) {
           future_.set(nullptr);
           runner_.reset();
           loop().stop();
         },
         {}, {});
  loop().run();
}

TEST_P(ProcessRunnerReentrancyTest, TerminationMayKillAndCloseWhatHasEnded) {
  invoke(Command("true"),
         [this](const XCode&, const String&) {
           EXPECT_TRUE(future_.handle()->kill(SIGKILL).isErr());
           EXPECT_TRUE(future_.handle()->close().isSuccess());
           loop().stop();
         },
         {}, {});
  loop().run();
}

TEST_P(ProcessRunnerReentrancyTest, TerminationMayInvokeTheNextCommand) {
  invoke(Command("true"), [this](const XCode&, const String&) { invoke(child("exit 4"), noteEnd(), {}, {}); }, {}, {});
  loop().run();
  EXPECT_EQ(ends_, 1);
  EXPECT_EQ(endText_, "Exit status 4");
}

TEST_P(ProcessRunnerReentrancyTest, TerminationMayExecuteACommand) {
  XCode executed(XCode::GENERIC_ERROR);
  invoke(Command("true"),
         [&](const XCode&, const String&) {
           executed = runner_->execute(Command("true"));
           loop().stop();
         },
         {}, {});
  loop().run();
  EXPECT_TRUE(executed.isSuccess());
}

TEST_P(ProcessRunnerReentrancyTest, OneCommandMayEndAnother) {
  Outcome other;
  ASSERT_TRUE(start(child("hang"), other).isSuccess());
  invoke(Command("true"),
         [&](const XCode&, const String&) { EXPECT_TRUE(other.future.handle()->kill(SIGTERM).isSuccess()); }, {}, {});
  loop().run();
  EXPECT_EQ(other.endText(), "Killed by signal 15");
}

TEST_P(ProcessRunnerReentrancyTest, HandleMayOutliveTheRunner) {
  invoke(child("hang"), mustNotEnd(), {}, {});
  runner_.reset();
  EXPECT_TRUE(future_.handle()->kill(SIGKILL).isErr());
  EXPECT_TRUE(future_.handle()->close().isSuccess());
}

}  // namespace
