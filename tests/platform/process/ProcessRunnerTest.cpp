// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <array>
#include <csignal>
#include <thread>
#include <utility>
#include <vector>

#include "platform/process/ProcessRunner.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/platform/process/RunnerTest.h"

namespace {

using KX::Shell::Command;
using KX::Shell::Descriptor;

class ProcessRunnerTest : public RunnerTest {};
INSTANTIATE_BOTH_WAYS(ProcessRunnerTest);

TEST_P(ProcessRunnerTest, ExitStatusZeroIsSuccess) {
  const Outcome outcome = run(Command("true"));
  EXPECT_TRUE(outcome.end.isSuccess());
  EXPECT_EQ(outcome.all(), "");
}

TEST_P(ProcessRunnerTest, OutputIsHandedOver) {
  const Outcome outcome = run(Command("echo some words"));
  EXPECT_EQ(outcome.all(), "some words\n");
  EXPECT_EQ(outcome.errors, "");
}

TEST_P(ProcessRunnerTest, ErrorOutputIsKeptApart) {
  const Outcome outcome = run(child("print-both"));
  EXPECT_EQ(outcome.all(), "output");
  EXPECT_EQ(outcome.errors, "error");
}

TEST_P(ProcessRunnerTest, ErrorOutputAloneIsHandedOver) {
  const Outcome outcome = run(child("print-error trouble"));
  EXPECT_EQ(outcome.all(), "");
  EXPECT_EQ(outcome.errors, "trouble");
}

TEST_P(ProcessRunnerTest, OtherExitStatusIsAnErrorThatNamesIt) {
  const Outcome outcome = run(child("exit 3"));
  EXPECT_EQ(outcome.end.code(), XCode::GENERIC_ERROR);
  EXPECT_EQ(outcome.endText(), "Exit status 3");
}

TEST_P(ProcessRunnerTest, DeathBySignalIsAnErrorThatNamesIt) {
  EXPECT_EQ(run(child("kill-itself 15")).endText(), "Killed by signal 15");
}

TEST_P(ProcessRunnerTest, MissingProgramIsAnErrorOfInvoke) {
  Outcome outcome;
  ASSERT_TRUE(start(Command("no-such-program-anywhere -x"), outcome).isErr());
  EXPECT_EQ(outcome.start.code(), 1000 + ENOENT);
  EXPECT_EQ(outcome.start.toString(), "No such file or directory");
  EXPECT_FALSE(outcome.future);
  runFor(5);
  EXPECT_EQ(outcome.ends, 0);
}

TEST_P(ProcessRunnerTest, WhatIsNoProgramIsAnErrorOfInvoke) {
  Outcome outcome;
  EXPECT_EQ(start(Command("/etc/passwd"), outcome).code(), 1000 + EACCES);
  EXPECT_EQ(start(Command("/etc"), outcome).code(), 1000 + EACCES);
}

TEST_P(ProcessRunnerTest, EmptyCommandIsRefused) {
  Outcome outcome;
  EXPECT_EQ(start(Command(" \t "), outcome).toString(), "Empty command");
}

TEST_P(ProcessRunnerTest, ArgumentWithANulIsRefused) {
  Outcome outcome;
  EXPECT_EQ(start(Command::format("echo %s", {String("a\0b", 3)}), outcome).toString(), "Argument contains a NUL byte");
}

TEST_P(ProcessRunnerTest, TooLongAnArgumentIsAnErrorOfInvoke) {
  if (IS_EMULATED) GTEST_SKIP() << "an emulator starts every program and lets it fail as a child";
  Outcome outcome;
  EXPECT_EQ(start(Command(String("echo " + std::string(1'000'000, 'x'))), outcome).code(), 1000 + E2BIG);
}

TEST_P(ProcessRunnerTest, NoCallbackComesInsideInvoke) {
  Outcome outcome;
  ASSERT_TRUE(start(Command("echo x"), outcome).isSuccess());
  siginfo_t end{};
  ASSERT_EQ(waitid(P_ALL, 0, &end, WEXITED | WNOWAIT), 0);
  EXPECT_EQ(outcome.ends, 0);
  EXPECT_EQ(outcome.pieces, 0);
  loop().run();
  EXPECT_EQ(outcome.ends, 1);
}

TEST_P(ProcessRunnerTest, ArgumentsReachTheProgramAsTheyAre) {
  const Outcome outcome =
      run(Command::format(CHILD_COMMAND " arguments %s --key=%s %s", {"two words; $HOME `id`", "\"'*\\", ""}));
  EXPECT_EQ(outcome.all(), "[two words; $HOME `id`][--key=\"'*\\][]");
}

TEST_P(ProcessRunnerTest, ItsInputIsEmpty) { EXPECT_EQ(run(child("count-input")).all(), "0"); }

TEST_P(ProcessRunnerTest, ItInheritsNoDescriptor) {
  const Descriptor leaky(dup(STDERR_FILENO));
  ASSERT_EQ(fcntl(leaky.get(), F_GETFD), 0);
  EXPECT_EQ(run(child("descriptors")).all(), "0 1 2 ");
}

TEST_P(ProcessRunnerTest, ItStartsWithSignalsAsAFreshProgram) {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR2);
  sigprocmask(SIG_BLOCK, &blocked, &before);
  const auto handler = std::signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(run(child("signals")).all(), "");
  std::signal(SIGPIPE, handler);
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

TEST_P(ProcessRunnerTest, ItLeadsAProcessGroupOfItsOwn) { EXPECT_TRUE(run(child("leads-group")).end.isSuccess()); }

TEST_P(ProcessRunnerTest, RunsWhereTheStandardDescriptorsAreClosed) {
  std::array<int, 2> saved{};
  for (int i = 0; i < 2; ++i) {
    saved[static_cast<std::size_t>(i)] = fcntl(i, F_DUPFD_CLOEXEC, 10);
    close(i);
  }
  Outcome outcome;
  EXPECT_TRUE(start(child("print-both"), outcome).isSuccess());
  loop().run();
  for (int i = 0; i < 2; ++i) {
    dup2(saved[static_cast<std::size_t>(i)], i);
    close(saved[static_cast<std::size_t>(i)]);
  }
  EXPECT_EQ(outcome.all(), "output");
  EXPECT_EQ(outcome.errors, "error");
}

TEST_P(ProcessRunnerTest, LargeOutputArrivesWhole) {
  const Outcome outcome = run(child("spam 10000000"));
  EXPECT_TRUE(outcome.end.isSuccess());
  EXPECT_EQ(outcome.all().size(), 10'000'000U);
}

TEST_P(ProcessRunnerTest, LargeErrorOutputArrivesWhole) {
  EXPECT_EQ(run(child("spam-error 1000000")).errors.size(), 1'000'000U);
}

TEST_P(ProcessRunnerTest, OutputLeftInThePipeIsStillRead) {
  Outcome outcome;
  ASSERT_TRUE(start(child("spam 60000"), outcome).isSuccess());
  siginfo_t end{};
  ASSERT_EQ(waitid(P_ALL, 0, &end, WEXITED | WNOWAIT), 0);
  loop().run();
  EXPECT_EQ(outcome.all().size(), 60'000U);
}

TEST_P(ProcessRunnerTest, WithoutOutputCallbackAllOutputComesWithTheEnd) {
  std::string rest;
  KX::Future<String> future;
  ASSERT_TRUE(runner_
                  ->invoke(
                      child("spam 200000"),
                      [&](const XCode&, const String& text) {
                        rest = text.view();
                        loop().stop();
                      },
                      {}, {}, future)
                  .isSuccess());
  loop().run();
  EXPECT_EQ(rest.size(), 200'000U);
}

TEST_P(ProcessRunnerTest, CommandThatClosesItsOutputEarlyIsWaitedFor) {
  const Outcome outcome = run(child("close-output"));
  EXPECT_EQ(outcome.endText(), "Exit status 3");
  EXPECT_EQ(outcome.all(), "early");
  EXPECT_EQ(outcome.errors, "late");
}

TEST_P(ProcessRunnerTest, KillEndsTheCommandWithItsSignal) {
  Outcome outcome;
  ASSERT_TRUE(start(child("hang"), outcome).isSuccess());
  EXPECT_TRUE(outcome.future.handle()->kill(SIGKILL).isSuccess());
  EXPECT_EQ(outcome.ends, 0);
  loop().run();
  EXPECT_EQ(outcome.endText(), "Killed by signal 9");
}

TEST_P(ProcessRunnerTest, IgnoredSignalLeavesTheCommandRunning) {
  Outcome outcome;
  ASSERT_TRUE(start(child("ignore-termination"), outcome).isSuccess());
  runUntilPrinted(outcome, "ready");
  EXPECT_TRUE(outcome.future.handle()->kill(SIGTERM).isSuccess());
  runFor(10);
  EXPECT_EQ(outcome.ends, 0);
  EXPECT_TRUE(outcome.future.handle()->kill(SIGKILL).isSuccess());
  loop().run();
  EXPECT_EQ(outcome.endText(), "Killed by signal 9");
}

TEST_P(ProcessRunnerTest, KillReachesTheWholeGroup) {
  const LifeLine lifeLine(folder());
  Outcome outcome;
  ASSERT_TRUE(start(child("hang-with-grandchild " + lifeLine.path()), outcome).isSuccess());
  runUntilPrinted(outcome, "ready");
  EXPECT_TRUE(lifeLine.holds());
  EXPECT_TRUE(outcome.future.handle()->kill(SIGTERM).isSuccess());
  EXPECT_TRUE(lifeLine.isCut());
  loop().run();
  EXPECT_EQ(outcome.endText(), "Killed by signal 15");
}

TEST_P(ProcessRunnerTest, KillFromAnotherThreadUnderTheLockEndsTheCommand) {
  Outcome outcome;
  ASSERT_TRUE(start(child("hang"), outcome).isSuccess());
  std::thread killer([&] {
    const KXLockPtr<KX::IFuture> future(outcome.future.handle());
    EXPECT_TRUE(future->kill(SIGKILL).isSuccess());
  });
  loop().run();
  killer.join();
  EXPECT_EQ(outcome.endText(), "Killed by signal 9");
}

TEST_P(ProcessRunnerTest, KillOfWhatHasEndedIsAnError) {
  const Outcome outcome = run(Command("true"));
  EXPECT_EQ(outcome.future.handle()->kill(SIGKILL).code(), 1000 + ESRCH);
  EXPECT_TRUE(outcome.future.handle()->close().isSuccess());
}

TEST_P(ProcessRunnerTest, UnknownSignalIsAnError) {
  Outcome outcome;
  ASSERT_TRUE(start(child("hang"), outcome).isSuccess());
  EXPECT_EQ(outcome.future.handle()->kill(1000).code(), 1000 + EINVAL);
}

TEST_P(ProcessRunnerTest, GrandchildThatKeepsThePipeIsNotWaitedForButKilled) {
  const LifeLine lifeLine(folder());
  const Outcome outcome = run(child("leave-grandchild " + lifeLine.path()));
  EXPECT_TRUE(outcome.end.isSuccess());
  EXPECT_TRUE(lifeLine.isCut());
}

TEST_P(ProcessRunnerTest, GrandchildOutsideTheGroupIsNotWaitedFor) {
  const LifeLine lifeLine(folder());
  const Outcome outcome = run(child("leave-grandchild-outside " + lifeLine.path()));
  EXPECT_TRUE(outcome.end.isSuccess());
  EXPECT_TRUE(lifeLine.holds());
  ASSERT_EQ(kill(std::stoi(outcome.all()), SIGKILL), 0);
  EXPECT_TRUE(lifeLine.isCut());
}

TEST_P(ProcessRunnerTest, CloseKeepsFurtherOutputForTheEnd) {
  Outcome outcome;
  ASSERT_TRUE(start(child("print-both"), outcome).isSuccess());
  EXPECT_TRUE(outcome.future.handle()->close().isSuccess());
  loop().run();
  EXPECT_EQ(outcome.pieces, 0);
  EXPECT_EQ(outcome.rest, "output");
  EXPECT_EQ(outcome.errors, "");
  EXPECT_TRUE(outcome.end.isSuccess());
}

TEST_P(ProcessRunnerTest, ClosedCommandIsReadOnSoThatItCanEnd) {
  Outcome outcome;
  ASSERT_TRUE(start(child("spam 5000000"), outcome).isSuccess());
  EXPECT_TRUE(outcome.future.handle()->close().isSuccess());
  loop().run();
  EXPECT_EQ(outcome.pieces, 0);
  EXPECT_EQ(outcome.rest.size(), 5'000'000U);
}

TEST_P(ProcessRunnerTest, RunsManyCommandsAtATime) {
  constexpr std::size_t COMMANDS = 60;
  std::vector<Outcome> outcomes(COMMANDS);
  std::size_t ends = 0;
  for (std::size_t i = 0; i < COMMANDS; ++i) {
    Outcome& outcome = outcomes[i];
    const XCode started = runner_->invoke(
        Command(String("echo " + std::to_string(i))),
        [&](const XCode& code, const String& rest) {
          outcome.end = code;
          outcome.rest = rest.view();
          if (++ends == COMMANDS) loop().stop();
        },
        [&outcome](const String& piece) { outcome.output += piece.view(); }, {}, outcome.future);
    ASSERT_TRUE(started.isSuccess());
  }
  loop().run();
  for (std::size_t i = 0; i < COMMANDS; ++i) {
    EXPECT_TRUE(outcomes[i].end.isSuccess());
    EXPECT_EQ(outcomes[i].all(), std::to_string(i) + "\n");
  }
}

TEST_P(ProcessRunnerTest, WithoutDescriptorsInvokeIsAnErrorAndTheNextOneWorks) {
  if (IS_EMULATED) GTEST_SKIP() << "an emulator shares no memory with the child, which tells of its error there";
  EXPECT_EQ(run(Command("echo x")).all(), "x\n");
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  for (rlim_t room = 0; room < 6; ++room) {
    const rlimit low{openDescriptors() - 1 + room, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
    Outcome outcome;
    static_cast<void>(start(Command("echo x"), outcome));
    setrlimit(RLIMIT_NOFILE, &before);
    if (outcome.start.isErr()) {
      EXPECT_EQ(outcome.start.toString(), "Too many open files");
    } else {
      loop().run();
      EXPECT_EQ(outcome.all(), "x\n") << room << " of " << low.rlim_cur << ": " << outcome.end.toString().c_str();
    }
  }
  EXPECT_EQ(run(Command("echo x")).all(), "x\n");
}

TEST_P(ProcessRunnerTest, RunnerThatGoesKillsAndReapsInSilence) {
  std::vector<Outcome> outcomes(3);
  for (Outcome& outcome : outcomes) ASSERT_TRUE(start(child("ignore-termination"), outcome).isSuccess());
  runUntilPrinted(outcomes[0], "ready");
  runner_.reset();
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  runFor(5);
  for (const Outcome& outcome : outcomes) {
    EXPECT_EQ(outcome.ends, 0);
    EXPECT_EQ(outcome.future.handle()->kill(SIGKILL).code(), 1000 + ESRCH);
  }
}

TEST_P(ProcessRunnerTest, CallbacksAreReleasedWithTheEnd) {
  const auto marker = std::make_shared<int>(0);
  KX::Future<String> future;
  ASSERT_TRUE(runner_
                  ->invoke(
                      Command("true"), [this, marker](const XCode&, const String&) { loop().stop(); },
                      [marker](const String&) {}, [marker](const String&) {}, future)
                  .isSuccess());
  loop().run();
  EXPECT_EQ(marker.use_count(), 1);
}

TEST_P(ProcessRunnerTest, HangsItselfOnTheLoopWhileItLives) {
  EXPECT_EQ(loop().service<KX::Shell::Runner>(), runner_.get());
  runner_.reset();
  EXPECT_EQ(loop().service<KX::Shell::Runner>(), nullptr);
}

TEST_P(ProcessRunnerTest, ReplacedRunnerLeavesItsSuccessorInPlace) {
  KX::Shell::ProcessRunner successor(loop(), {}, GetParam());
  runner_.reset();
  EXPECT_EQ(loop().service<KX::Shell::Runner>(), &successor);
}

TEST_P(ProcessRunnerTest, LoopThatCannotWatchIsAnErrorOfInvoke) {
  KX::Testing::VirtualEventLoop virtualLoop;
  KX::Shell::ProcessRunner runner(virtualLoop, {}, GetParam());
  KX::Future<String> future;
  EXPECT_EQ(runner.invoke(Command("true"), {}, {}, {}, future).toString(), "Cannot watch a pipe");
}

TEST(ProcessRunnerHostTest, WhereTheHostIgnoresItsChildrenTheEndIsStillKnown) {
  const auto handler = std::signal(SIGCHLD, SIG_IGN);
  KX::UvEventLoop loop;
  KX::Shell::ProcessRunner runner(loop);
  XCode end(XCode::GENERIC_ERROR);
  KX::Future<String> future;
  const auto terminated = [&](const XCode& code, const String&) {
    end = code;
    loop.stop();
  };
  ASSERT_TRUE(runner.invoke(Command("true"), terminated, {}, {}, future).isSuccess());
  loop.run();
  EXPECT_TRUE(end.isSuccess()) << end.toString().c_str();
  EXPECT_TRUE(runner.execute(Command("true")).isSuccess());
  std::signal(SIGCHLD, handler);
}

}  // namespace
