// SPDX-License-Identifier: Apache-2.0
#include <csignal>

#include "platform/process/ProcessLimits.h"
#include "tests/platform/process/RunnerTest.h"

namespace {

using KX::Shell::Command;
using KX::Shell::ProcessLimits;

class ProcessLimitsTest : public RunnerTest {
 protected:
  void limitOutput(std::uint64_t bytes) { restart(ProcessLimits{.outputBytes = bytes}); }
  void limitTime(std::uint32_t seconds) { restart(ProcessLimits{.runSeconds = seconds, .executeSeconds = seconds}); }
};
INSTANTIATE_BOTH_WAYS(ProcessLimitsTest);

TEST(ProcessLimitsDefaultTest, AreSixHoursSixteenMebibytesAndHalfAMinute) {
  const ProcessLimits limits;
  EXPECT_EQ(limits.runSeconds, 21'600U);
  EXPECT_EQ(limits.outputBytes, 16'777'216U);
  EXPECT_EQ(limits.executeSeconds, 30U);
}

TEST_P(ProcessLimitsTest, OutputOfExactlyTheLimitIsAllowed) {
  limitOutput(100'000);
  const Outcome outcome = run(child("spam 100000"));
  EXPECT_TRUE(outcome.end.isSuccess());
  EXPECT_EQ(outcome.all().size(), 100'000U);
}

TEST_P(ProcessLimitsTest, OneByteMoreIsAnErrorThatNamesTheBound) {
  limitOutput(100'000);
  const Outcome outcome = run(child("spam 100001"));
  EXPECT_EQ(outcome.end.code(), XCode::GENERIC_ERROR);
  EXPECT_EQ(outcome.endText(), "Output limit of 100000 bytes exceeded");
  EXPECT_EQ(outcome.all().size(), 100'000U);
}

TEST_P(ProcessLimitsTest, OutputWithoutEndIsEndedAtTheDefaultLimit) {
  const Outcome outcome = run(child("spam 0"));
  EXPECT_EQ(outcome.endText(), "Output limit of 16777216 bytes exceeded");
  EXPECT_EQ(outcome.all().size(), 16'777'216U);
}

TEST_P(ProcessLimitsTest, ErrorOutputBeyondTheLimitIsDroppedAndTheCommandSucceeds) {
  limitOutput(1500);
  const Outcome outcome = run(child("spam-both 1000000"));
  EXPECT_TRUE(outcome.end.isSuccess()) << outcome.endText();
  EXPECT_EQ(outcome.all().size(), 1000U);
  EXPECT_EQ(outcome.errors.size(), 1500U);
}

TEST_P(ProcessLimitsTest, OutputLeftInThePipeCounts) {
  limitOutput(1000);
  Outcome outcome;
  ASSERT_TRUE(start(child("spam 1001"), outcome).isSuccess());
  siginfo_t end{};
  ASSERT_EQ(waitid(P_ALL, 0, &end, WEXITED | WNOWAIT), 0);
  loop().run();
  EXPECT_EQ(outcome.endText(), "Output limit of 1000 bytes exceeded");
  EXPECT_EQ(outcome.all().size(), 1000U);
}

TEST_P(ProcessLimitsTest, OutputAfterACloseCounts) {
  limitOutput(1000);
  Outcome outcome;
  ASSERT_TRUE(start(child("spam 0"), outcome).isSuccess());
  EXPECT_TRUE(outcome.future.handle()->close().isSuccess());
  loop().run();
  EXPECT_EQ(outcome.endText(), "Output limit of 1000 bytes exceeded");
  EXPECT_EQ(outcome.rest.size(), 1000U);
}

TEST_P(ProcessLimitsTest, ZeroIsNoOutputLimit) {
  limitOutput(0);
  const Outcome outcome = run(child("spam 20000000"));
  EXPECT_TRUE(outcome.end.isSuccess());
  EXPECT_EQ(outcome.all().size(), 20'000'000U);
}

TEST_P(ProcessLimitsTest, RunTimeLimitKillsTheGroupAndNamesTheBoundAndKeepsTheOutput) {
  limitTime(1);
  const LifeLine lifeLine(folder());
  const Outcome outcome = run(child("hang-with-grandchild " + lifeLine.path()));
  EXPECT_EQ(outcome.end.code(), XCode::GENERIC_ERROR);
  EXPECT_EQ(outcome.endText(), "Run time limit of 1 s exceeded");
  EXPECT_NE(outcome.all().find("ready"), std::string::npos);
  EXPECT_TRUE(lifeLine.isCut());
}

TEST_P(ProcessLimitsTest, RunTimeLimitNeedsNoCooperation) {
  limitTime(1);
  EXPECT_EQ(run(child("ignore-termination")).endText(), "Run time limit of 1 s exceeded");
}

TEST_P(ProcessLimitsTest, CommandThatEndedInTimeIsASuccessHoweverLateItIsNoticed) {
  limitTime(1);
  Outcome outcome;
  ASSERT_TRUE(start(Command("true"), outcome).isSuccess());
  // The loop is held up past the limit.
  EXPECT_EQ(runner_->execute(child("hang")).toString(), "Run time limit of 1 s exceeded");
  loop().run();
  EXPECT_TRUE(outcome.end.isSuccess()) << outcome.endText();
}

TEST_P(ProcessLimitsTest, ZeroIsNoRunTimeLimit) {
  limitTime(0);
  EXPECT_TRUE(run(Command("true")).end.isSuccess());
  EXPECT_TRUE(runner_->execute(Command("true")).isSuccess());
}

}  // namespace
