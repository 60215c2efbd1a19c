// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "DatabaseFixture.h"
#include "platform/database/Database.h"
#include "platform/database/Transaction.h"

namespace {

class DatabaseTest : public DatabaseFixture {};

// Puts one more context into the tables each time it is asked, or fails.
class TestSource final : public DB::Database::Source {
 public:
  XCode update(DB::Connection& connection) override {
    if (fails) return XCode::error("source failed"_s);
    XCode started = connection.start();
    if (started.isErr()) return started;
    connection.execute("INSERT INTO context_ip (object_type, object_status, name) VALUES (2, 10, 'c')");
    return connection.commit();
  }
  bool fails = false;
};

TEST_F(DatabaseTest, IsFoundOnTheLoopOfTheThread) {
  EXPECT_EQ(DB::Database::current(), &database_);
  loop_.provide<DB::Database>(nullptr);
  EXPECT_EQ(DB::Database::current(), nullptr);
  EXPECT_FALSE(DB::Database::currentConnection());
}

TEST_F(DatabaseTest, FailedOpenLeavesWhatIsOpen) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 'c')");
  EXPECT_TRUE(database_.open(file_.pathOf("missing")).isErr());
  EXPECT_EQ(walk().text, "context c\n");
}

TEST_F(DatabaseTest, AFileRenamedOverTheOldOneIsReadFromTheNextTransactionOn) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 'old')");
  const String replacement = file_.pathOf("new.db");
  ASSERT_EQ(
      Writer(replacement).execute(std::string(DeviceFile::TABLES) + "INSERT INTO context_ip VALUES (1, 2, 10, 'new')"),
      SQLITE_OK);
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  std::filesystem::rename(replacement.c_str(), file_.path().c_str());
  EXPECT_EQ(walkInTransaction(), "context old\n");
  ASSERT_TRUE(transaction.commit().isSuccess());
  EXPECT_EQ(walk().text, "context new\n");
}

TEST_F(DatabaseTest, ALinkThatIsTurnedIsFollowedFromTheNextTransactionOn) {
  for (const char* name : {"one", "two"}) {
    Writer writer(file_.pathOf(name));
    ASSERT_EQ(
        writer.execute(std::string(DeviceFile::TABLES) + "INSERT INTO context_ip VALUES (1, 2, 10, '" + name + "')"),
        SQLITE_OK);
  }
  std::filesystem::create_symlink("one", file_.path().c_str());
  ASSERT_TRUE(database_.open(file_.path()).isSuccess());
  EXPECT_EQ(walk().text, "context one\n");
  std::filesystem::create_symlink("two", file_.pathOf("turned").c_str());
  std::filesystem::rename(file_.pathOf("turned").c_str(), file_.path().c_str());
  EXPECT_EQ(walk().text, "context two\n");
}

TEST_F(DatabaseTest, AFileThatIsRemovedFailsTheStartUntilItIsBack) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 'c')");
  std::filesystem::rename(file_.path().c_str(), file_.pathOf("away").c_str());
  const Walk missing = walk();
  EXPECT_TRUE(missing.result.toString().view().ends_with(": No such file or directory"));
  EXPECT_EQ(missing.text, "");
  std::filesystem::rename(file_.pathOf("away").c_str(), file_.path().c_str());
  EXPECT_EQ(walk().text, "context c\n");
}

TEST_F(DatabaseTest, InMemoryItStartsEmpty) {
  ASSERT_TRUE(database_.openInMemory(nullptr).isSuccess());
  const Walk all = walk();
  EXPECT_TRUE(all.result.isSuccess());
  EXPECT_EQ(all.text, "");
}

TEST_F(DatabaseTest, TheSourceIsAskedBeforeEveryTransactionAndNeverInsideOne) {
  TestSource source;
  ASSERT_TRUE(database_.openInMemory(&source).isSuccess());
  EXPECT_EQ(walk().text, "context c\n");
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  DB::Transaction refused;
  EXPECT_TRUE(refused.start().isErr());
  EXPECT_EQ(walkInTransaction(), "context c\ncontext c\n");
  ASSERT_TRUE(transaction.commit().isSuccess());
  database_.setSource(nullptr);
  EXPECT_EQ(walk().text, "context c\ncontext c\n");
}

TEST_F(DatabaseTest, ASourceThatFailsFailsTheStart) {
  TestSource source;
  source.fails = true;
  ASSERT_TRUE(database_.openInMemory(&source).isSuccess());
  EXPECT_EQ(walk().result.toString(), "source failed");
  source.fails = false;
  EXPECT_TRUE(walk().result.isSuccess());
}

TEST_F(DatabaseTest, TwoDatabasesInMemoryAreSeparate) {
  TestSource source;
  DB::Database other;
  ASSERT_TRUE(database_.openInMemory(&source).isSuccess());
  ASSERT_TRUE(other.openInMemory(nullptr).isSuccess());
  EXPECT_EQ(walk().text, "context c\n");
  loop_.provide(&other);
  EXPECT_EQ(walk().text, "");
}

}  // namespace
