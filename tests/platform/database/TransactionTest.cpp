// SPDX-License-Identifier: Apache-2.0
#include "DatabaseFixture.h"
#include "platform/database/Queries.h"
#include "platform/database/Transaction.h"

namespace {

class TransactionTest : public DatabaseFixture {
 protected:
  static std::string contextsSeen() { return walkInTransaction(); }
};

TEST_F(TransactionTest, StartFailsWithoutADatabase) {
  loop_.provide<DB::Database>(nullptr);
  DB::Transaction transaction;
  EXPECT_EQ(transaction.start().toString(), "No configuration database");
}

TEST_F(TransactionTest, StartFailsOnADatabaseThatWasNotOpened) {
  DB::Transaction transaction;
  EXPECT_EQ(transaction.start().toString(), "No configuration database");
}

TEST(TransactionWithoutALoop, CannotStart) {
  DB::Transaction transaction;
  EXPECT_EQ(transaction.start().toString(), "No configuration database");
}

TEST_F(TransactionTest, CommitWithoutAStartIsAnError) {
  openWith("");
  DB::Transaction transaction;
  EXPECT_EQ(transaction.commit().toString(), "No transaction is running");
  ASSERT_TRUE(transaction.start().isSuccess());
  EXPECT_TRUE(transaction.commit().isSuccess());
  EXPECT_TRUE(transaction.commit().isErr());
}

TEST_F(TransactionTest, OnlyOneRunsAtATime) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 'c')");
  DB::Transaction first;
  ASSERT_TRUE(first.start().isSuccess());
  {
    DB::Transaction second;
    const XCode started = second.start();
    EXPECT_TRUE(started.isErr());
    EXPECT_TRUE(started.toString().view().ends_with("A transaction is already running"));
    EXPECT_TRUE(first.start().isErr());
  }
  // The refused one has left the first as it was.
  EXPECT_EQ(contextsSeen(), "context c\n");
  EXPECT_TRUE(first.commit().isSuccess());
  EXPECT_TRUE(walk().result.isSuccess());
}

TEST_F(TransactionTest, DoesNotSeeWhatIsWrittenMeanwhile) {
  file_.execute("PRAGMA journal_mode = WAL");
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 'before')");
  Writer writer(file_.path());
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  // Written before the first query: the state is fixed by the start.
  ASSERT_EQ(writer.execute("UPDATE context_ip SET name = 'after'; INSERT INTO context_ip VALUES (2, 2, 10, 'new')"),
            SQLITE_OK);
  EXPECT_EQ(contextsSeen(), "context before\n");
  ASSERT_EQ(writer.execute("DELETE FROM context_ip"), SQLITE_OK);
  EXPECT_EQ(contextsSeen(), "context before\n");
  EXPECT_TRUE(transaction.commit().isSuccess());
  ASSERT_EQ(writer.execute("INSERT INTO context_ip VALUES (3, 2, 10, 'late')"), SQLITE_OK);
  EXPECT_EQ(walk().text, "context late\n");
}

TEST_F(TransactionTest, KeepsAWriterFromCommittingInRollbackMode) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 'before')");
  Writer writer(file_.path());
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  EXPECT_EQ(writer.execute("UPDATE context_ip SET name = 'after'"), SQLITE_BUSY);
  EXPECT_EQ(contextsSeen(), "context before\n");
  EXPECT_TRUE(transaction.commit().isSuccess());
  EXPECT_EQ(writer.execute("UPDATE context_ip SET name = 'after'"), SQLITE_OK);
  EXPECT_EQ(walk().text, "context after\n");
}

TEST_F(TransactionTest, ReleasesTheFileWhenItIsDestroyedUncommitted) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 'before')");
  Writer writer(file_.path());
  {
    DB::Transaction transaction;
    ASSERT_TRUE(transaction.start().isSuccess());
    ASSERT_EQ(writer.execute("UPDATE context_ip SET name = 'after'"), SQLITE_BUSY);
  }
  EXPECT_EQ(writer.execute("UPDATE context_ip SET name = 'after'"), SQLITE_OK);
  EXPECT_EQ(walk().text, "context after\n");
}

TEST_F(TransactionTest, ReleasesTheFileEvenIfAQueryIsStillInTheMiddle) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 'a'), (2, 2, 10, 'b')");
  Writer writer(file_.path());
  DB::Table::ContextIp::QueryAllByKey contexts(
      DB::Table::Cfg::QueryAllByKey::Key(DB::ObjectType_::INSTANCE, DB::ObjectStatus_::ACTIVE));
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  contexts.begin();
  ASSERT_TRUE(contexts.iterate());
  EXPECT_TRUE(transaction.commit().isSuccess());
  EXPECT_EQ(writer.execute("UPDATE context_ip SET name = 'after'"), SQLITE_OK);
}

TEST_F(TransactionTest, StartFailsWhileTheFileIsLocked) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 'c')");
  Writer writer(file_.path());
  ASSERT_EQ(writer.execute("BEGIN EXCLUSIVE"), SQLITE_OK);
  DB::Transaction transaction;
  const XCode started = transaction.start();
  EXPECT_TRUE(started.isErr());
  EXPECT_TRUE(started.toString().view().ends_with(": database is locked")) << started.toString().c_str();
  EXPECT_EQ(contextsSeen(), "");
  ASSERT_EQ(writer.execute("COMMIT"), SQLITE_OK);
  EXPECT_EQ(walk().text, "context c\n");
}

TEST_F(TransactionTest, AQueryThatFailsYieldsNothingAndShowsInTheCommit) {
  openWith(DeviceFile::ROWS);
  file_.execute("ALTER TABLE ip_interface RENAME COLUMN name TO label");
  const Walk broken = walk();
  EXPECT_EQ(broken.text, "context router\ncontext guest\n");
  ASSERT_TRUE(broken.result.isErr());
  EXPECT_TRUE(broken.result.toString().view().ends_with(": no such column: name")) << broken.result.toString().c_str();
  // The failure belongs to that transaction alone.
  file_.execute("ALTER TABLE ip_interface RENAME COLUMN label TO name");
  EXPECT_TRUE(walk().result.isSuccess());
}

TEST_F(TransactionTest, AValueAboveTheLimitShowsInTheCommit) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 'small'), (2, 2, 10, printf('%.*c', 2000000, 'x'))");
  const Walk broken = walk();
  EXPECT_EQ(broken.text, "context small\n");
  EXPECT_TRUE(broken.result.toString().view().ends_with(": string or blob too big"))
      << broken.result.toString().c_str();
}

TEST_F(TransactionTest, TableThatTurnedIntoAViewIsNotRead) {
  openWith(DeviceFile::ROWS);
  file_.execute("ALTER TABLE context_ip RENAME TO hidden; CREATE VIEW context_ip AS SELECT * FROM hidden");
  const Walk broken = walk();
  EXPECT_EQ(broken.text, "");
  EXPECT_TRUE(broken.result.isErr());
}

}  // namespace
