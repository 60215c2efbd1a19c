// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "program/Complaint.h"

namespace {

struct Outcome {
  int status = -1;
  std::string errors;
};

// In a child process whose stdout is the file, since it is about the process's own streams.
Outcome outcomeOf(const char* standardOutput, const std::function<int()>& body) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(open(standardOutput, O_WRONLY), STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    const int status = body();
    std::fflush(stderr);
    _exit(status);
  }
  close(ends[1]);
  Outcome outcome;
  char bytes[4096];
  for (ssize_t count = 0; (count = read(ends[0], bytes, sizeof bytes)) > 0;) {
    outcome.errors.append(bytes, static_cast<std::size_t>(count));
  }
  close(ends[0]);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  outcome.status = WEXITSTATUS(status);
  return outcome;
}

TEST(ComplaintTest, IsOneLineWithTheProgramInFrontWhateverTheTextHolds) {
  const Outcome outcome = outcomeOf("/dev/null", [] { return complain("a\nb\x1b[2J\xff"); });
  EXPECT_EQ(outcome.status, EXIT_FAILED);
  EXPECT_EQ(outcome.errors, "program-tests: a\\nb\\x1b[2J\xEF\xBF\xBD\n");
}

TEST(ComplaintTest, OfUsageSaysWhereToReadOn) {
  const Outcome outcome = outcomeOf("/dev/null", [] { return complainOfUsage("unknown option: -x"); });
  EXPECT_EQ(outcome.status, EXIT_USAGE);
  EXPECT_EQ(outcome.errors, "program-tests: unknown option: -x; try --help\n");
}

TEST(ComplaintTest, WarningIsNamedSo) {
  const Outcome outcome = outcomeOf("/dev/null", [] {
    warn("half of it");
    return 0;
  });
  EXPECT_EQ(outcome.errors, "program-tests: warning: half of it\n");
}

TEST(ComplaintTest, AFullDiskIsSaidWithItsReason) {
  EXPECT_EQ(outcomeOf("/dev/null", [] { return print("text\n"); }).status, EXIT_DONE);
  const Outcome outcome = outcomeOf("/dev/full", [] { return print("text\n"); });
  EXPECT_EQ(outcome.status, EXIT_FAILED);
  EXPECT_EQ(outcome.errors, "program-tests: cannot write the result: No space left on device\n");
}

TEST(ComplaintTest, AWriteThatFailedEarlierIsNotForgotten) {
  const Outcome outcome = outcomeOf("/dev/full", [] {
    std::puts("text");
    std::fflush(stdout);
    return finishOutput();
  });
  EXPECT_EQ(outcome.status, EXIT_FAILED);
  EXPECT_EQ(outcome.errors, "program-tests: cannot write the result\n");
}

}  // namespace
