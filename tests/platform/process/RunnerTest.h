// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>

#include "platform/loop/UvEventLoop.h"
#include "platform/process/ProcessRunner.h"

// A real runner on a real loop, its commands watched in either way. Every test of it ends with the check that no child
// process and no descriptor is left.
class RunnerTest : public testing::TestWithParam<KX::Shell::ChildWatch::Way> {
 protected:
  // What came of one command.
  struct Outcome {
    XCode start;
    XCode end;
    std::string output;  // what came in pieces
    std::string rest;    // what came with the end
    std::string errors;
    int pieces = 0;
    int ends = 0;
    KX::Future<String> future;

    std::string all() const { return output + rest; }
    std::string endText() const { return end.toString().c_str(); }
  };

  explicit RunnerTest(const KX::Shell::ProcessLimits& limits = {}) {
    // libuv opens what it shares between loops with the first one.
    KX::UvEventLoop().status().isErr();
    descriptorsBefore_ = openDescriptors();
    loop_ = std::make_unique<KX::UvEventLoop>();
    restart(limits);
    guard_ = loop_->createTimeoutEvent(9, [] {
      std::fputs("the test hangs\n", stderr);
      std::abort();
    });
    guard_->start(40'000, false, false);
  }

  ~RunnerTest() override {
    runner_.reset();
    guard_.reset();
    loop_.reset();
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
    EXPECT_EQ(errno, ECHILD);
    EXPECT_EQ(openDescriptors(), descriptorsBefore_);
    if (!folder_.empty()) std::filesystem::remove_all(folder_);
  }

  void restart(const KX::Shell::ProcessLimits& limits) {
    runner_.reset();
    runner_ = std::make_unique<KX::Shell::ProcessRunner>(*loop_, limits, GetParam());
  }

  static std::size_t openDescriptors() {
    const std::filesystem::directory_iterator folder("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
  }

  // The child with a behaviour.
  static KX::Shell::Command child(const std::string& behaviour) {
    return KX::Shell::Command(String::format("%s %s", CHILD_COMMAND, behaviour.c_str()));
  }

  // Starts the command; the loop stops at its end.
  XCode start(const KX::Shell::Command& command, Outcome& outcome) {
    outcome.start = runner_->invoke(
        command,
        [this, &outcome](const XCode& code, const String& rest) {
          ++outcome.ends;
          outcome.end = code;
          outcome.rest = rest.view();
          loop_->stop();
        },
        [&outcome](const String& piece) {
          ++outcome.pieces;
          outcome.output += piece.view();
        },
        [&outcome](const String& piece) { outcome.errors += piece.view(); }, outcome.future);
    return outcome.start;
  }

  Outcome run(const KX::Shell::Command& command) {
    Outcome outcome;
    EXPECT_TRUE(start(command, outcome).isSuccess()) << outcome.start.toString().c_str();
    if (outcome.start.isSuccess()) loop_->run();
    EXPECT_EQ(outcome.ends, 1);
    return outcome;
  }

  // Runs the loop until the child has said that it is ready.
  void runUntilPrinted(Outcome& outcome, const std::string& text) {
    const auto poll = loop_->createTimeoutEvent(1, [this, &outcome, &text] {
      if (outcome.output.find(text) != std::string::npos) loop_->stop();
    });
    poll->start(1, true, false);
    loop_->run();
  }

  void runFor(unsigned milliseconds) {
    const auto timer = loop_->createTimeoutEvent(1, [this] { loop_->stop(); });
    timer->start(milliseconds, false, false);
    loop_->run();
  }

  // A folder of the test's own.
  const std::string& folder() {
    if (folder_.empty()) {
      folder_ = (std::filesystem::temp_directory_path() / "runner-test-XXXXXX").string();
      EXPECT_NE(mkdtemp(folder_.data()), nullptr);
    }
    return folder_;
  }

  KX::UvEventLoop& loop() { return *loop_; }

  std::unique_ptr<KX::UvEventLoop> loop_;
  std::unique_ptr<KX::Shell::ProcessRunner> runner_;

 private:
  std::size_t descriptorsBefore_ = 0;
  std::unique_ptr<KX::TimeoutEvent> guard_;
  std::string folder_;
};

// A named pipe that tells when the last process that has it open for writing is gone.
class LifeLine {
 public:
  explicit LifeLine(const std::string& folder) : path_(folder + "/life-line") {
    EXPECT_EQ(mkfifo(path_.c_str(), 0600), 0);
    descriptor_ = KX::Shell::Descriptor(open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_TRUE(descriptor_);
  }
  const std::string& path() const { return path_; }
  // Waits for it.
  bool isCut() const {
    pollfd entry{descriptor_.get(), POLLIN, 0};
    int count = 0;
    do {
      count = poll(&entry, 1, 20'000);
    } while (count < 0 && errno == EINTR);
    return count == 1 && (entry.revents & POLLHUP) != 0;
  }
  bool holds() const {
    pollfd entry{descriptor_.get(), POLLIN, 0};
    return poll(&entry, 1, 0) == 0;
  }

 private:
  std::string path_;
  KX::Shell::Descriptor descriptor_;
};

#define INSTANTIATE_BOTH_WAYS(suite)                                                                        \
  INSTANTIATE_TEST_SUITE_P(                                                                                 \
      Watch, suite, testing::Values(KX::Shell::ChildWatch::Way::PIDFD, KX::Shell::ChildWatch::Way::SIGNAL), \
      [](const auto& way) { return way.param == KX::Shell::ChildWatch::Way::PIDFD ? "Pidfd" : "Sigchld"; })
