// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>

#include "DatabaseFixture.h"
#include "platform/database/Transaction.h"
#include "platform/database/WriteAheadLog.h"

namespace {

constexpr unsigned ROWS = 300;
constexpr uid_t STRANGER = 65534;

// A program of another process that writes to the file: what it does until it says that it is ready, and then until it
// is killed.
class OtherProgram {
 public:
  OtherProgram(const String& path, const std::function<void(Writer&)>& before,
               const std::function<void(Writer&, unsigned round)>& afterwards = nullptr) {
    int ready[2];
    EXPECT_EQ(pipe2(ready, O_CLOEXEC), 0);
    pid_ = fork();
    if (pid_ == 0) {
      Writer writer(path);
      before(writer);
      if (write(ready[1], "!", 1) != 1) _exit(1);
      for (unsigned round = 0; afterwards; ++round) afterwards(writer, round);
      for (;;) pause();
    }
    close(ready[1]);
    char mark = 0;
    EXPECT_EQ(read(ready[0], &mark, 1), 1);
    close(ready[0]);
  }
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;
  ~OtherProgram() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

 private:
  pid_t pid_ = 0;
};

class WriteAheadLogTest : public DatabaseFixture {
 protected:
  std::string folder() const { return std::filesystem::path(file_.path().c_str()).parent_path(); }
  bool exists(const char* suffix) const { return std::filesystem::exists(std::string(file_.path().view()) + suffix); }
  static bool mapsTheFile() {
    std::ostringstream maps;
    maps << std::ifstream("/proc/self/maps").rdbuf();
    return maps.str().find("device.db") != std::string::npos;
  }
  static void logOneContext(Writer& writer) {
    static_cast<void>(writer.execute(std::string("PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0;") +
                                     DeviceFile::TABLES + "INSERT INTO context_ip VALUES (1, 2, 10, 'logged')"));
  }
  // What a user who may read the file, and write nothing, reads of it.
  std::string readByStranger() {
    std::filesystem::permissions(folder(), std::filesystem::perms(0755));
    int output[2];
    EXPECT_EQ(pipe2(output, O_CLOEXEC), 0);
    const pid_t pid = fork();
    if (pid == 0) {
      if (setuid(STRANGER) != 0) _exit(1);
      const XCode opened = database_.open(file_.path());
      const Walk walked = walk();
      const std::string text = opened.isErr() ? std::string(opened.toString().view())
                                              : walked.text + std::string(walked.result.toString().view());
      _exit(write(output[1], text.data(), text.size()) < 0 ? 1 : 0);
    }
    close(output[1]);
    char text[1024];
    const ssize_t length = read(output[0], text, sizeof(text));
    close(output[0]);
    waitpid(pid, nullptr, 0);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
  }
};

TEST_F(WriteAheadLogTest, AReaderThatMayWriteNothingSeesWhatIsInTheLog) {
  if (getuid() != 0) GTEST_SKIP() << "needs root to become another user";
  const OtherProgram writer(file_.path(), &logOneContext);
  EXPECT_EQ(readByStranger(), "context logged\n" + std::string(XCode().toString().view()));
}

TEST_F(WriteAheadLogTest, AReaderThatMayWriteNothingReadsAFileWithoutItsLog) {
  if (getuid() != 0) GTEST_SKIP() << "needs root to become another user";
  {
    Writer writer(file_.path());
    logOneContext(writer);
  }
  ASSERT_FALSE(exists("-wal"));
  EXPECT_EQ(readByStranger(), "context logged\n" + std::string(XCode().toString().view()));
}

TEST_F(WriteAheadLogTest, NothingIsMappedOrCreated) {
  {
    Writer writer(file_.path());
    logOneContext(writer);
  }
  ASSERT_TRUE(database_.open(file_.path()).isSuccess());
  EXPECT_EQ(walk().text, "context logged\n");
  EXPECT_FALSE(exists("-wal") || exists("-shm"));
  const OtherProgram writer(
      file_.path(), [](Writer& other) { static_cast<void>(other.execute("UPDATE context_ip SET name = 'later'")); });
  EXPECT_EQ(walk().text, "context later\n");
  EXPECT_FALSE(mapsTheFile());
}

TEST_F(WriteAheadLogTest, AStrangerWhoCutsTheSharedFileHarmsNobody) {
  const OtherProgram writer(file_.path(), &logOneContext);
  ASSERT_TRUE(database_.open(file_.path()).isSuccess());
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  std::filesystem::resize_file(std::string(file_.path().view()) + "-shm", 0);
  EXPECT_EQ(walkInTransaction(), "context logged\n");
  EXPECT_TRUE(transaction.commit().isSuccess());
  EXPECT_EQ(walk().text, "context logged\n");
}

TEST_F(WriteAheadLogTest, WhatAKilledProgramLeftIsRead) {
  { const OtherProgram writer(file_.path(), &logOneContext); }
  ASSERT_TRUE(exists("-wal"));
  ASSERT_TRUE(database_.open(file_.path()).isSuccess());
  EXPECT_EQ(walk().text, "context logged\n");
  std::filesystem::remove(std::string(file_.path().view()) + "-shm");
  EXPECT_EQ(walk().text, "context logged\n");
}

// The writer gives all rows one name, and the next one, and moves the log into the file again and again.
TEST_F(WriteAheadLogTest, EveryTransactionSeesOneStateBesideAProgramThatWritesAllTheTime) {
  const auto rename = [](Writer& writer, unsigned round) {
    static_cast<void>(
        writer.execute(String::format("UPDATE context_ip SET name = printf('%%0200d', %u)", round).c_str()));
  };
  const OtherProgram writer(
      file_.path(),
      [&](Writer& other) {
        logOneContext(other);
        for (unsigned id = 2; id <= ROWS; ++id) {
          static_cast<void>(other.execute(String::format("INSERT INTO context_ip VALUES (%u, 2, 10, '')", id).c_str()));
        }
        rename(other, 0);
        static_cast<void>(other.execute("PRAGMA wal_autocheckpoint = 4"));
      },
      rename);
  ASSERT_TRUE(database_.open(file_.path()).isSuccess());
  std::string first;
  for (int i = 0; i < 100; ++i) {
    const Walk walked = walk();
    ASSERT_TRUE(walked.result.isSuccess()) << walked.result.toString().c_str();
    const std::string line = walked.text.substr(0, walked.text.find('\n') + 1);
    std::string expected;
    for (unsigned row = 0; row < ROWS; ++row) expected += line;
    ASSERT_EQ(walked.text, expected) << "of two states";
    if (first.empty()) first = line;
    EXPECT_TRUE(i < 99 || line != first) << "nothing was written";
  }
}

TEST_F(WriteAheadLogTest, ItIsReadAfterATransactionThatWasNotCommitted) {
  const OtherProgram writer(file_.path(), &logOneContext);
  ASSERT_TRUE(database_.open(file_.path()).isSuccess());
  {
    DB::Transaction transaction;
    ASSERT_TRUE(transaction.start().isSuccess());
  }
  EXPECT_EQ(walk().text, "context logged\n");
  Writer another(file_.path());
  EXPECT_EQ(another.execute("PRAGMA wal_checkpoint(TRUNCATE)"), SQLITE_OK) << "the log is still held";
}

TEST_F(WriteAheadLogTest, AFileThatTurnsToALogIsReadFromTheNextTransactionOn) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 'before')");
  EXPECT_EQ(walk().text, "context before\n");
  const OtherProgram writer(file_.path(), [](Writer& other) {
    static_cast<void>(other.execute("PRAGMA journal_mode = WAL; UPDATE context_ip SET name = 'after'"));
  });
  EXPECT_EQ(walk().text, "context after\n");
  EXPECT_FALSE(mapsTheFile());
}

}  // namespace
