// SPDX-License-Identifier: Apache-2.0
#include "DatabaseFixture.h"
#include "platform/database/Queries.h"
#include "platform/database/Transaction.h"

namespace {

using Contexts = DB::Table::ContextIp::QueryAllByKey;
using Interfaces = DB::Table::IpInterface::QueryByParentTypeStatusByKey;
using AllKey = DB::Table::Cfg::QueryAllByKey::Key;
constexpr DB::ObjectType_ TYPE = DB::ObjectType_::INSTANCE;
constexpr DB::ObjectStatus_ STATUS = DB::ObjectStatus_::ACTIVE;

class QueriesTest : public DatabaseFixture {};

TEST_F(QueriesTest, WalkFindsEverythingInItsPlace) {
  openWith(DeviceFile::ROWS);
  const Walk all = walk();
  EXPECT_TRUE(all.result.isSuccess());
  EXPECT_EQ(all.text,
            "context router\n- LAN1 eth0 up 10.1.0.0/16 192.168.1.1/24\n- WAN eth1 1 203.0.113.7/29\n"
            "context guest\n- LAN2 eth1 up\n");
}

TEST_F(QueriesTest, EmptyTablesYieldNothing) {
  openWith("");
  const Walk all = walk();
  EXPECT_TRUE(all.result.isSuccess());
  EXPECT_EQ(all.text, "");
}

TEST_F(QueriesTest, RowsComeInAscendingId) {
  openWith("INSERT INTO context_ip VALUES (30, 2, 10, 'c'), (-5, 2, 10, 'a'), (7, 2, 10, 'b')");
  EXPECT_EQ(walk().text, "context a\ncontext b\ncontext c\n");
}

TEST_F(QueriesTest, OtherTypesAndStatusesAreLeftOut) {
  openWith(
      "INSERT INTO context_ip VALUES (1, 1, 10, 'type'), (2, 2, 11, 'status'), (3, NULL, 10, 'null'),"
      " (4, 258, 10, 'wide'), (5, 2, 'x', 'text'), (6, 2, 10, 'right')");
  EXPECT_EQ(walk().text, "context right\n");
}

TEST_F(QueriesTest, TextIsNotTakenForANumberWhateverTheColumnIsDeclaredAs) {
  file_.execute(
      "CREATE TABLE context_ip (id INTEGER PRIMARY KEY, object_type, object_status TEXT, name);"
      "CREATE TABLE dyn_if (id INTEGER PRIMARY KEY, name);"
      "CREATE TABLE ip_interface (id INTEGER PRIMARY KEY, context_ip_id TEXT, object_type, object_status, name,"
      " dyn_if_id, if_state TEXT);"
      "CREATE TABLE ip_interface_address (id INTEGER PRIMARY KEY, ip_interface_id, object_type, object_status, subnet);"
      "INSERT INTO context_ip VALUES (1, 2, 10, 'status is text');");
  ASSERT_TRUE(database_.open(file_.path()).isSuccess());
  EXPECT_EQ(walk().text, "");
  file_.execute(
      "DROP TABLE context_ip; CREATE TABLE context_ip (id INTEGER PRIMARY KEY, object_type, object_status, name);"
      "INSERT INTO context_ip VALUES (1, '2', 10, 'type is text'), (2, 2, 10, 'right');"
      "INSERT INTO ip_interface VALUES (1, 2, 2, 10, 'parent is text', NULL, 3)");
  const Walk all = walk();
  EXPECT_TRUE(all.result.isSuccess());
  EXPECT_EQ(all.text, "context right\n");
}

TEST_F(QueriesTest, QueryOutsideATransactionYieldsNothing) {
  openWith(DeviceFile::ROWS);
  Contexts contexts(AllKey(TYPE, STATUS));
  EXPECT_FALSE(contexts.iterate());
  contexts.begin();
  EXPECT_FALSE(contexts.iterate());
  contexts.moveNext();
  EXPECT_FALSE(contexts.iterate());
  EXPECT_FALSE(*contexts);
}

TEST_F(QueriesTest, QueryYieldsNothingMoreOnceItsTransactionHasEnded) {
  openWith(DeviceFile::ROWS);
  Contexts contexts(AllKey(TYPE, STATUS));
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  contexts.begin();
  ASSERT_TRUE(contexts.iterate());
  ASSERT_TRUE(transaction.commit().isSuccess());
  EXPECT_FALSE(contexts.iterate());
  EXPECT_FALSE(*contexts);
  // Nor does it wake up in the next one.
  ASSERT_TRUE(transaction.start().isSuccess());
  EXPECT_FALSE(contexts.iterate());
  contexts.moveNext();
  EXPECT_FALSE(contexts.iterate());
  contexts.begin();
  EXPECT_TRUE(contexts.iterate());
  EXPECT_TRUE(transaction.commit().isSuccess());
}

TEST_F(QueriesTest, QueryCanBeWalkedAgain) {
  openWith(DeviceFile::ROWS);
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  Contexts contexts(AllKey(TYPE, STATUS));
  for (int round = 0; round < 2; ++round) {
    int rows = 0;
    for (contexts.begin(); contexts.iterate(); contexts.moveNext()) ++rows;
    EXPECT_EQ(rows, 2);
  }
}

TEST_F(QueriesTest, WalksOfTheSameQueryMayBeNested) {
  openWith(DeviceFile::ROWS);
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  int pairs = 0;
  Contexts outer(AllKey(TYPE, STATUS));
  for (outer.begin(); outer.iterate(); outer.moveNext()) {
    Contexts inner(AllKey(TYPE, STATUS));
    for (inner.begin(); inner.iterate(); inner.moveNext()) ++pairs;
  }
  EXPECT_EQ(pairs, 4);
  EXPECT_TRUE(transaction.commit().isSuccess());
}

TEST_F(QueriesTest, WithoutAParentThereAreNoRows) {
  openWith(std::string(DeviceFile::ROWS) + "INSERT INTO ip_interface VALUES (9, NULL, 2, 10, 'orphan', 1, 3)");
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  Interfaces interfaces(Interfaces::Key(nullptr, TYPE, STATUS));
  interfaces.begin();
  EXPECT_FALSE(interfaces.iterate());
  EXPECT_TRUE(transaction.commit().isSuccess());
}

TEST_F(QueriesTest, QueryOutlivesTransactionAndDatabase) {
  auto database = std::make_unique<DB::Database>();
  file_.execute(std::string(DeviceFile::TABLES) + DeviceFile::ROWS);
  ASSERT_TRUE(database->open(file_.path()).isSuccess());
  loop_.provide(database.get());
  Contexts contexts(AllKey(TYPE, STATUS));
  {
    DB::Transaction transaction;
    ASSERT_TRUE(transaction.start().isSuccess());
    contexts.begin();
    ASSERT_TRUE(contexts.iterate());
    loop_.provide<DB::Database>(nullptr);
    database.reset();
    EXPECT_TRUE(contexts.iterate());
  }
  EXPECT_FALSE(contexts.iterate());
}

}  // namespace
