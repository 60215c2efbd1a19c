// SPDX-License-Identifier: Apache-2.0
#include "DatabaseFixture.h"
#include "platform/database/Entries.h"
#include "platform/database/Queries.h"
#include "platform/database/Transaction.h"

namespace {

using Interfaces = DB::Table::IpInterface::QueryByParentTypeStatusByKey;
using Contexts = DB::Table::ContextIp::QueryAllByKey;
constexpr DB::ObjectType_ TYPE = DB::ObjectType_::INSTANCE;
constexpr DB::ObjectStatus_ STATUS = DB::ObjectStatus_::ACTIVE;

class EntriesTest : public DatabaseFixture {
 protected:
  static DB::Ptr<DB::Entry::ContextIp> firstContext() {
    Contexts contexts(DB::Table::Cfg::QueryAllByKey::Key(TYPE, STATUS));
    contexts.begin();
    return *contexts;
  }
  static DB::Ptr<DB::Entry::IpInterface> firstInterface() {
    Interfaces interfaces(Interfaces::Key(firstContext(), TYPE, STATUS));
    interfaces.begin();
    return *interfaces;
  }
};

TEST_F(EntriesTest, ReferenceLoadsTheRowThatItNames) {
  openWith(oneInterface("7", "3") + "INSERT INTO dyn_if VALUES (6, 'eth6'), (7, 'eth7');");
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  const DB::Ptr<DB::Entry::IpInterface> interface = firstInterface();
  ASSERT_TRUE(interface);
  EXPECT_TRUE(interface->dynIf.isSet());
  EXPECT_TRUE(interface->dynIf.isLoadable());
  const DB::Ptr<DB::Entry::DynIf> bound = interface->dynIf;
  ASSERT_TRUE(bound);
  EXPECT_EQ(bound->name.get(), "eth7");
  EXPECT_EQ(bound->id(), 7);
}

TEST_F(EntriesTest, ReferenceToNoRowIsSetAndNotLoadable) {
  openWith(oneInterface("7", "3"));
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  const DB::Ptr<DB::Entry::IpInterface> interface = firstInterface();
  ASSERT_TRUE(interface);
  EXPECT_TRUE(interface->dynIf.isSet());
  EXPECT_FALSE(interface->dynIf.isLoadable());
  EXPECT_FALSE(interface->dynIf.load());
  EXPECT_TRUE(transaction.commit().isSuccess());
}

TEST_F(EntriesTest, ReferenceThatIsNullIsNotSet) {
  openWith(oneInterface("NULL", "3") + "INSERT INTO dyn_if VALUES (0, 'eth0'), (1, 'eth1');");
  EXPECT_EQ(walk().text, "context c\n- i unset up\n");
}

TEST_F(EntriesTest, ReferenceIsNullOutsideATransaction) {
  openWith(oneInterface("7", "3") + "INSERT INTO dyn_if VALUES (7, 'eth7');");
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  const DB::Ptr<DB::Entry::IpInterface> interface = firstInterface();
  ASSERT_TRUE(transaction.commit().isSuccess());
  ASSERT_TRUE(interface);
  EXPECT_TRUE(interface->dynIf.isSet());
  EXPECT_FALSE(interface->dynIf.isLoadable());
}

TEST_F(EntriesTest, EntriesStayAsTheyAreWhenTheTransactionHasEnded) {
  openWith(DeviceFile::ROWS);
  DB::Ptr<DB::Entry::ContextIp> context;
  {
    DB::Transaction transaction;
    ASSERT_TRUE(transaction.start().isSuccess());
    context = firstContext();
  }
  file_.execute("UPDATE context_ip SET name = 'changed'");
  ASSERT_TRUE(context);
  EXPECT_EQ(context->name.get(), "router");
}

TEST_F(EntriesTest, NamesWithEmbeddedBytesAreKept) {
  openWith(
      "INSERT INTO context_ip VALUES (1, 2, 10, CAST(x'610062ff0a' AS TEXT));"
      "INSERT INTO ip_interface VALUES (1, 1, 2, 10, CAST(x'00' AS TEXT), NULL, 3)");
  DB::Transaction transaction;
  ASSERT_TRUE(transaction.start().isSuccess());
  ASSERT_TRUE(firstContext());
  EXPECT_EQ(firstContext()->name.get(), String("a\0b\xff\n", 5));
  ASSERT_TRUE(firstInterface());
  EXPECT_EQ(firstInterface()->name.get(), String("\0", 1));
}

TEST_F(EntriesTest, NullAndBlobNamesHaveNoValue) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, NULL), (2, 2, 10, x'6161'), (3, 2, 10, 'c')");
  EXPECT_EQ(walk().text, "context \ncontext \ncontext c\n");
}

TEST_F(EntriesTest, NumbersInATextColumnAreTheirText) {
  openWith("INSERT INTO context_ip VALUES (1, 2, 10, 42)");
  EXPECT_EQ(walk().text, "context 42\n");
}

TEST_F(EntriesTest, TextWhereAnIntegerShouldBeIsNoValue) {
  openWith(oneInterface("'eth0'", "'up'") + "INSERT INTO dyn_if VALUES (0, 'eth0');");
  EXPECT_EQ(walk().text, "context c\n- i unset 0\n");
}

TEST_F(EntriesTest, FractionsAndBlobsAreNoIntegers) {
  openWith(oneInterface("x'01'", "3.5") + "INSERT INTO dyn_if VALUES (1, 'eth0');");
  EXPECT_EQ(walk().text, "context c\n- i unset 0\n");
}

TEST_F(EntriesTest, StatesOutOfRangeAreNotUp) {
  openWith(oneInterface("NULL", "259"));
  EXPECT_EQ(walk().text, "context c\n- i unset 0\n");
}

TEST_F(EntriesTest, OtherStatesAreKept) {
  openWith(oneInterface("NULL", "7"));
  EXPECT_EQ(walk().text, "context c\n- i unset 7\n");
}

TEST_F(EntriesTest, SubnetsThatDoNotParseCannotBeRead) {
  openWith(oneInterface("NULL", "3") +
           "INSERT INTO ip_interface_address VALUES (1, 1, 2, 10, '10.0.0.0/8'), (2, 1, 2, 10, '10.0.0.0'),"
           " (3, 1, 2, 10, '10.0.0.0/33'), (4, 1, 2, 10, ''), (5, 1, 2, 10, NULL), (6, 1, 2, 10, 'fe80::/64'),"
           " (7, 1, 2, 10, x'31302e302e302e302f38'), (8, 1, 2, 10, CAST(x'31302e302e302e302f3800' AS TEXT)),"
           " (9, 1, 2, 10, '192.168.0.9/24')");
  EXPECT_EQ(walk().text, "context c\n- i unset up 10.0.0.0/8 ? ? ? ? ? ? ? 192.168.0.9/24\n");
}

TEST_F(EntriesTest, SubnetThatCannotBeReadLeavesTheAddress) {
  IpAddress address("10.0.0.1"_s);
  EXPECT_TRUE(DB::Entry::IpSubnet("nonsense"_s).get(address).isErr());
  EXPECT_TRUE(DB::Entry::IpSubnet(std::nullopt).get(address).isErr());
  EXPECT_EQ(address.toString(), "10.0.0.1");
}

}  // namespace
