// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/base/FileState.h"

namespace {

using KX::FileState;

class FileStateTest : public testing::Test {
 protected:
  FileStateTest() { EXPECT_GE(descriptor_ = mkstemp(path_), 0); }
  ~FileStateTest() override {
    close(descriptor_);
    unlink(path_);
  }
  static FileState stateOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0);
    return FileState::of(status);
  }

  char path_[32] = "/tmp/kx-file-state-XXXXXX";
  int descriptor_ = -1;
};

TEST_F(FileStateTest, StaysAsLongAsNobodyTouchesTheFile) { EXPECT_EQ(stateOf(path_), stateOf(path_)); }

TEST_F(FileStateTest, TellsThatSomebodyHasWritten) {
  const FileState before = stateOf(path_);
  ASSERT_EQ(write(descriptor_, "x", 1), 1);
  const FileState after = stateOf(path_);
  EXPECT_TRUE(before.isSameFile(after));
  EXPECT_FALSE(before == after);
}

TEST_F(FileStateTest, TellsAnotherFileThatIsPutInItsPlace) {
  const FileState before = stateOf(path_);
  const std::string other = std::string(path_) + "-other";
  close(open(other.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  ASSERT_EQ(std::rename(other.c_str(), path_), 0);
  EXPECT_FALSE(before.isSameFile(stateOf(path_)));
}

}  // namespace
