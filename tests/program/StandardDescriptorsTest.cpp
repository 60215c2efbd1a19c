// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "program/StandardDescriptors.h"

namespace {

// In a child process, since it is about the process's own standard descriptors.
int statusOfChild(const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

bool isDevNull(int descriptor) {
  struct stat status {};
  struct stat null {};
  return fstat(descriptor, &status) == 0 && stat("/dev/null", &null) == 0 && status.st_rdev == null.st_rdev;
}

}  // namespace

TEST(StandardDescriptorsTest, ClosedOnesBecomeDevNull) {
  EXPECT_EQ(statusOfChild([] {
              close(0);
              close(1);
              if (prepareStandardDescriptors(ClosedOutput::DISCARDS).isErr()) return 1;
              if (!isDevNull(0) || !isDevNull(1) || isDevNull(2)) return 2;
              return write(1, "x", 1) == 1 ? 0 : 3;
            }),
            0);
}

TEST(StandardDescriptorsTest, OpenOnesStay) {
  EXPECT_EQ(statusOfChild([] {
              int ends[2];
              if (pipe(ends) != 0 || dup2(ends[0], 0) != 0 || dup2(ends[1], 1) != 1) return 1;
              if (prepareStandardDescriptors(ClosedOutput::DISCARDS).isErr()) return 2;
              char byte = 0;
              return write(1, "x", 1) == 1 && read(0, &byte, 1) == 1 && byte == 'x' ? 0 : 3;
            }),
            0);
}

TEST(StandardDescriptorsTest, ReaderThatIsGoneIsAnErrorOfTheWrite) {
  EXPECT_EQ(statusOfChild([] {
              int ends[2];
              if (prepareStandardDescriptors(ClosedOutput::DISCARDS).isErr() || pipe(ends) != 0) return 1;
              close(ends[0]);
              return write(ends[1], "x", 1) < 0 && errno == EPIPE ? 0 : 2;
            }),
            0);
}

TEST(StandardDescriptorsTest, AClosedOutputFailsWhereTheResultWouldBeLost) {
  EXPECT_EQ(statusOfChild([] {
              close(1);
              if (prepareStandardDescriptors(ClosedOutput::FAILS).isErr()) return 1;
              if (!isDevNull(1)) return 2;
              return write(1, "x", 1) < 0 && errno == EBADF ? 0 : 3;
            }),
            0);
}
