// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>

#include "platform/process/Spawn.h"

namespace {

using KX::Shell::Child;
using KX::Shell::Command;
using KX::Shell::findProgram;
using KX::Shell::spawn;

// A folder with two folders of programs, and a PATH of the test's own.
class SpawnTest : public testing::Test {
 protected:
  SpawnTest() {
    if (const char* path = std::getenv("PATH"); path != nullptr) savedPath_ = path;
    folder_ = (std::filesystem::temp_directory_path() / "spawn-test-XXXXXX").string();
    EXPECT_NE(mkdtemp(folder_.data()), nullptr);
    std::filesystem::create_directories(folder_ + "/one");
    std::filesystem::create_directories(folder_ + "/two");
    setPath(folder_ + "/one:" + folder_ + "/two");
  }
  ~SpawnTest() override {
    setenv("PATH", savedPath_.c_str(), 1);
    std::filesystem::remove_all(folder_);
  }

  static void setPath(const std::string& path) { setenv("PATH", path.c_str(), 1); }
  std::string file(const std::string& name, mode_t mode) {
    const std::string path = folder_ + "/" + name;
    const int descriptor = open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, mode);
    close(descriptor);
    return path;
  }
  std::string found(const std::string& name) {
    String path;
    result_ = findProgram(String(name), path);
    return result_.isSuccess() ? path.c_str() : "";
  }

  std::string folder_;
  std::string savedPath_;
  XCode result_;
};

TEST_F(SpawnTest, FirstFolderOfPathWins) {
  const std::string one = file("one/tool", 0755);
  file("two/tool", 0755);
  EXPECT_EQ(found("tool"), one);
}

TEST_F(SpawnTest, LaterFoldersAreLookedIn) {
  const std::string two = file("two/tool", 0755);
  EXPECT_EQ(found("tool"), two);
}

TEST_F(SpawnTest, FileThatMayNotRunIsPassedOver) {
  file("one/tool", 0644);
  const std::string two = file("two/tool", 0755);
  EXPECT_EQ(found("tool"), two);
}

TEST_F(SpawnTest, FolderOfThatNameIsPassedOver) {
  std::filesystem::create_directories(folder_ + "/one/tool");
  const std::string two = file("two/tool", 0755);
  EXPECT_EQ(found("tool"), two);
}

TEST_F(SpawnTest, MissingProgramIsNotFound) {
  EXPECT_EQ(found("tool"), "");
  EXPECT_EQ(result_.code(), 1000 + ENOENT);
}

TEST_F(SpawnTest, ProgramThatMayNotRunAnywhereIsSaidToBeSo) {
  file("one/tool", 0644);
  EXPECT_EQ(found("tool"), "");
  EXPECT_EQ(result_.code(), 1000 + EACCES);
}

TEST_F(SpawnTest, NameWithASlashIsAPath) {
  const std::string path = file("one/tool", 0755);
  setPath("");
  EXPECT_EQ(found(path), path);
  EXPECT_EQ(found(folder_ + "/one/other"), "");
  EXPECT_EQ(result_.code(), 1000 + ENOENT);
}

TEST_F(SpawnTest, EmptyFolderOfPathIsTheCurrentOne) {
  file("one/tool", 0755);
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_ + "/one");
  setPath("/nowhere:");
  EXPECT_EQ(found("tool"), "./tool");
  std::filesystem::current_path(before);
}

TEST_F(SpawnTest, WithoutPathTheUsualFoldersAreLookedIn) {
  unsetenv("PATH");
  EXPECT_NE(found("true"), "");
}

TEST_F(SpawnTest, FileThatIsNoProgramIsAnErrorOfTheStartAndNeverGivenToAShell) {
  if (IS_EMULATED) GTEST_SKIP() << "an emulator starts every program and lets it fail as a child";
  const std::string path = file("one/tool", 0755);
  KX::Shell::Child child;
  EXPECT_EQ(KX::Shell::spawn(KX::Shell::Command(String(path)), -1, -1, child).code(), 1000 + ENOEXEC);
  EXPECT_FALSE(child);
}

TEST_F(SpawnTest, ChildThatGoesOutOfScopeIsKilledAndReaped) {
  setPath(savedPath_);
  pid_t pid = 0;
  {
    KX::Shell::Child child;
    ASSERT_TRUE(KX::Shell::spawn(KX::Shell::Command("sleep 1000"), -1, -1, child).isSuccess());
    pid = child.pid();
    EXPECT_FALSE(child.hasEnded());
  }
  EXPECT_EQ(kill(pid, 0), -1);
  EXPECT_EQ(errno, ESRCH);
}

TEST_F(SpawnTest, WithoutAChildThereIsNothingToSignal) { EXPECT_EQ(KX::Shell::Child().signal(0).code(), 1000 + ESRCH); }

TEST_F(SpawnTest, AProgramReadsItsInput) {
  int input[2];
  int output[2];
  ASSERT_EQ(pipe2(input, O_CLOEXEC), 0);
  ASSERT_EQ(pipe2(output, O_CLOEXEC), 0);
  ASSERT_EQ(write(input[1], "read", 4), 4);
  close(input[1]);
  Child child;
  ASSERT_TRUE(spawn(Command("/bin/cat"_s), output[1], -1, child, input[0]).isSuccess());
  close(input[0]);
  close(output[1]);
  char text[8] = "";
  EXPECT_EQ(read(output[0], text, sizeof(text)), 4);
  EXPECT_STREQ(text, "read");
  close(output[0]);
  EXPECT_TRUE(child.reap().isSuccess());
}

TEST_F(SpawnTest, OfTheEnvironmentAProgramGetsPathLanguageAndZone) {
  setenv("LANG", "C.UTF-8", 1);
  setenv("TZ", "UTC", 1);
  setenv("PATHS", "x", 1);
  setenv("AGENT_SECRET", "x", 1);
  int output[2];
  ASSERT_EQ(pipe2(output, O_CLOEXEC), 0);
  Child child;
  ASSERT_TRUE(spawn(Command("/usr/bin/env"), output[1], -1, child).isSuccess());
  close(output[1]);
  char text[4096];
  EXPECT_TRUE(child.reap().isSuccess());
  const ssize_t length = read(output[0], text, sizeof(text));
  close(output[0]);
  std::istringstream lines(std::string(text, static_cast<std::size_t>(std::max<ssize_t>(length, 0))));
  std::set<std::string> variables;
  for (std::string line; std::getline(lines, line);) variables.insert(line);
  EXPECT_EQ(variables,
            (std::set<std::string>{"LANG=C.UTF-8", "PATH=" + folder_ + "/one:" + folder_ + "/two", "TZ=UTC"}));
  for (const char* name : {"PATHS", "AGENT_SECRET"}) unsetenv(name);
}

// The end of what the command has open, once it has said that it runs, tells of its death.
TEST_F(SpawnTest, ACommandDiesWithAParentThatIsKilled) {
  setPath(savedPath_);
  int output[2];
  ASSERT_EQ(pipe2(output, O_CLOEXEC), 0);
  const pid_t parent = fork();
  if (parent == 0) {
    Child child;
    if (spawn(Command::format("/bin/sh -c %s", {"echo; exec sleep 1000"}), output[1], -1, child).isErr()) _exit(1);
    for (;;) pause();
  }
  close(output[1]);
  char text[8];
  EXPECT_EQ(read(output[0], text, sizeof(text)), 1);
  kill(parent, SIGKILL);
  pollfd entry{output[0], POLLIN, 0};
  EXPECT_EQ(poll(&entry, 1, 20'000), 1) << "the command lives on";
  EXPECT_EQ(waitpid(parent, nullptr, 0), parent);
  close(output[0]);
}

TEST_F(SpawnTest, AnExitStatusIsKnownAlsoWhereAParentLeftItsChildrenIgnored) {
  const auto handler = std::signal(SIGCHLD, SIG_IGN);
  setPath(savedPath_);
  Child child;
  ASSERT_TRUE(spawn(Command::format("/bin/sh -c %s", {"exit 7"}), -1, -1, child).isSuccess());
  EXPECT_EQ(child.reap().toString(), "Exit status 7");
  std::signal(SIGCHLD, handler);
}

}  // namespace
