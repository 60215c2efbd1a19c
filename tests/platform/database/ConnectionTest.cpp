// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "DatabaseFixture.h"
#include "platform/database/Connection.h"
#include "platform/database/Statement.h"

namespace {

class ConnectionTest : public DatabaseFixture {
 protected:
  static KXLWPtr<DB::Connection> inMemory() {
    KXLWPtr<DB::Connection> connection(new DB::Connection("memory"_s));
    EXPECT_TRUE(connection->openInMemory().isSuccess());
    return connection;
  }
};

TEST_F(ConnectionTest, MissingFileIsAnError) {
  EXPECT_EQ(openError(), "No such file or directory");
  EXPECT_FALSE(std::filesystem::exists(file_.path().c_str()));
}

TEST_F(ConnectionTest, NamesThatSqliteGivesAMeaningAreMissingFiles) {
  for (const char* name : {"", ":memory:", "file::memory:?mode=memory"}) {
    EXPECT_TRUE(database_.open(String(name)).isErr()) << name;
  }
}

TEST_F(ConnectionTest, DirectoriesAndFifosAreErrors) {
  ASSERT_EQ(mkdir(file_.path().c_str(), 0700), 0);
  EXPECT_EQ(openError(), "Not a regular file");
  ASSERT_EQ(rmdir(file_.path().c_str()), 0);
  ASSERT_EQ(mkfifo(file_.path().c_str(), 0600), 0);
  EXPECT_EQ(openError(), "Not a regular file");
}

TEST_F(ConnectionTest, FileOfAnotherKindIsAnError) {
  file_.setBytes(std::vector<unsigned char>(4096, 'x'));
  EXPECT_EQ(openError(), "file is not a database");
}

TEST_F(ConnectionTest, EmptyFileHoldsNoTable) {
  file_.setBytes({});
  EXPECT_EQ(openError(), "No table context_ip");
}

TEST_F(ConnectionTest, RelativePathsAreOpened) {
  file_.execute(DeviceFile::TABLES);
  const std::string relative = std::filesystem::relative(file_.path().c_str());
  EXPECT_TRUE(database_.open(String(relative)).isSuccess());
}

TEST_F(ConnectionTest, LockedFileIsAnErrorOfTheOpen) {
  file_.execute(DeviceFile::TABLES);
  Writer writer(file_.path());
  ASSERT_EQ(writer.execute("BEGIN EXCLUSIVE"), SQLITE_OK);
  EXPECT_EQ(openError(), "database is locked");
}

TEST_F(ConnectionTest, FilesAreOnlyRead) {
  file_.execute(DeviceFile::TABLES);
  KXLWPtr<DB::Connection> connection(new DB::Connection("file"_s));
  ASSERT_TRUE(connection->openFile(file_.path()).isSuccess());
  ASSERT_TRUE(connection->start().isSuccess());
  connection->execute("INSERT INTO dyn_if VALUES (1, 'eth0')");
  EXPECT_EQ(connection->commit().toString(), "file: attempt to write a readonly database");
}

TEST_F(ConnectionTest, JournalModeIsLeftAsFound) {
  for (const char* mode : {"DELETE", "WAL"}) {
    file_.execute(std::string("PRAGMA journal_mode = ") + mode + ";" + DeviceFile::TABLES);
    const std::vector<unsigned char> before = file_.bytes();
    {
      DB::Database database;
      ASSERT_TRUE(database.open(file_.path()).isSuccess());
      loop_.provide(&database);
      EXPECT_TRUE(walk().result.isSuccess());
    }
    EXPECT_EQ(file_.bytes(), before) << mode;
    std::filesystem::remove(file_.path().c_str());
  }
  loop_.provide(&database_);
}

TEST_F(ConnectionTest, ReadsWhatIsStillInTheWriteAheadLog) {
  Writer writer(file_.path());
  ASSERT_EQ(writer.execute(std::string("PRAGMA journal_mode = WAL; PRAGMA wal_autocheckpoint = 0;") +
                           DeviceFile::TABLES + "INSERT INTO context_ip VALUES (1, 2, 10, 'logged')"),
            SQLITE_OK);
  ASSERT_TRUE(database_.open(file_.path()).isSuccess());
  EXPECT_EQ(walk().text, "context logged\n");
}

TEST_F(ConnectionTest, DescriptorsAreCloseOnExec) {
  openWith(DeviceFile::ROWS);
  int watched = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code error;
    if (std::filesystem::read_symlink(entry.path(), error) != std::filesystem::path(file_.path().c_str())) continue;
    ++watched;
    const int descriptor = std::stoi(entry.path().filename().string());
    EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
  }
  EXPECT_EQ(watched, 1);
}

TEST_F(ConnectionTest, CommitKeepsAndRollbackUndoes) {
  const KXLWPtr<DB::Connection> connection = inMemory();
  ASSERT_TRUE(connection->start().isSuccess());
  connection->execute("INSERT INTO dyn_if VALUES (1, 'kept')");
  ASSERT_TRUE(connection->commit().isSuccess());
  ASSERT_TRUE(connection->start().isSuccess());
  connection->execute("UPDATE dyn_if SET name = 'undone'");
  connection->rollback();
  ASSERT_TRUE(connection->start().isSuccess());
  DB::Statement statement(*connection, "SELECT name FROM dyn_if");
  ASSERT_TRUE(statement.step());
  EXPECT_EQ(statement.text(0), String("kept"));
}

TEST_F(ConnectionTest, TheFirstFailureIsReportedAndUndoesEverything) {
  const KXLWPtr<DB::Connection> connection = inMemory();
  ASSERT_TRUE(connection->start().isSuccess());
  connection->execute("INSERT INTO dyn_if VALUES (1, 'eth0')");
  connection->execute("first nonsense");
  connection->execute("second nonsense");
  EXPECT_EQ(connection->commit().toString(), "memory: near \"first\": syntax error");
  ASSERT_TRUE(connection->start().isSuccess());
  DB::Statement statement(*connection, "SELECT 1 FROM dyn_if");
  EXPECT_FALSE(statement.step());
  EXPECT_TRUE(connection->commit().isSuccess());
}

TEST_F(ConnectionTest, TransactionsHaveNumbersOfTheirOwn) {
  const KXLWPtr<DB::Connection> connection = inMemory();
  EXPECT_EQ(connection->transaction(), 0U);
  ASSERT_TRUE(connection->start().isSuccess());
  const std::uint32_t first = connection->transaction();
  ASSERT_TRUE(connection->commit().isSuccess());
  EXPECT_EQ(connection->transaction(), 0U);
  ASSERT_TRUE(connection->start().isSuccess());
  EXPECT_NE(connection->transaction(), first);
  EXPECT_NE(connection->transaction(), 0U);
}

TEST_F(ConnectionTest, ErrorTextsAreCut) {
  const KXLWPtr<DB::Connection> connection = inMemory();
  ASSERT_TRUE(connection->start().isSuccess());
  connection->execute(("SELECT \"" + std::string(5000, 'x') + "\"").c_str());
  EXPECT_LT(connection->commit().toString().length(), 300U);
}

}  // namespace
