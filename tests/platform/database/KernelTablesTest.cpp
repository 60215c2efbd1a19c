// SPDX-License-Identifier: Apache-2.0
#include <net/if.h>

#include "DatabaseFixture.h"
#include "platform/database/KernelTables.h"

namespace {

using DB::Netlink::Message;
using Kind = Message::Kind;

constexpr unsigned UP = IFF_UP | IFF_RUNNING;

Message link(int index, const char* name, unsigned flags = UP) {
  return {.kind = Kind::LINK, .index = index, .flags = flags, .name = String(name)};
}
Message gone(int index) { return {.kind = Kind::LINK_GONE, .index = index}; }
Message address(int index, std::uint32_t local, std::uint8_t prefix, std::uint32_t peer = 0) {
  return {.kind = Kind::ADDRESS, .index = index, .address = {local, peer != 0 ? peer : local, prefix}};
}
Message without(Message message) {
  message.kind = Kind::ADDRESS_GONE;
  return message;
}

// Writes the tables whenever a transaction starts.
class KernelTablesTest : public DatabaseFixture, public DB::Database::Source {
 protected:
  void SetUp() override { ASSERT_TRUE(database_.openInMemory(this).isSuccess()); }
  XCode update(DB::Connection& connection) override {
    XCode started = connection.start();
    if (started.isErr()) return started;
    tables_.write(connection);
    return connection.commit();
  }
  std::string rows() {
    const Walk all = walk();
    EXPECT_TRUE(all.result.isSuccess()) << all.result.toString().c_str();
    return all.text;
  }

  DB::KernelTables tables_;
};

TEST_F(KernelTablesTest, WithoutInterfacesThereIsTheContext) { EXPECT_EQ(rows(), "context kernel\n"); }

TEST_F(KernelTablesTest, InterfacesAreBoundToTheDevicesOfTheirName) {
  EXPECT_TRUE(tables_.apply(link(2, "eth0")));
  EXPECT_TRUE(tables_.apply(address(2, 0x0A010203, 16)));
  EXPECT_EQ(rows(), "context kernel\n- eth0 eth0 up 10.1.2.3/16\n");
}

TEST_F(KernelTablesTest, LoopbackAndItsAddressesAreLeftOut) {
  EXPECT_FALSE(tables_.apply(link(1, "lo", UP | IFF_LOOPBACK)));
  EXPECT_FALSE(tables_.apply(address(1, 0x7F000001, 8)));
  EXPECT_EQ(rows(), "context kernel\n");
}

TEST_F(KernelTablesTest, UpIsUpAndRunning) {
  tables_.apply(link(1, "both", IFF_UP | IFF_RUNNING | IFF_MULTICAST));
  tables_.apply(link(2, "noCarrier", IFF_UP));
  tables_.apply(link(3, "running", IFF_RUNNING));
  tables_.apply(link(4, "down", 0));
  EXPECT_EQ(rows(), "context kernel\n- both both up\n- noCarrier noCarrier 1\n- running running 1\n- down down 1\n");
}

TEST_F(KernelTablesTest, OrderIsThatOfTheIndexWhateverArrivesFirst) {
  tables_.apply(link(30, "c"));
  tables_.apply(link(4, "b"));
  tables_.apply(link(2, "a"));
  tables_.apply(address(4, 0x0A000002, 8));
  tables_.apply(address(4, 0x0A000001, 8));
  EXPECT_EQ(rows(), "context kernel\n- a a up\n- b b up 10.0.0.1/8 10.0.0.2/8\n- c c up\n");
}

TEST_F(KernelTablesTest, RenamedInterfaceKeepsItsPlaceAndAddresses) {
  tables_.apply(link(2, "eth0"));
  tables_.apply(link(3, "eth1"));
  tables_.apply(address(2, 0x0A000001, 8));
  EXPECT_TRUE(tables_.apply(link(2, "lan")));
  EXPECT_EQ(rows(), "context kernel\n- lan lan up 10.0.0.1/8\n- eth1 eth1 up\n");
}

TEST_F(KernelTablesTest, InterfacesMaySwapTheirNames) {
  tables_.apply(link(2, "a"));
  tables_.apply(link(3, "b", 0));
  tables_.apply(link(2, "t"));
  tables_.apply(link(3, "a", 0));
  tables_.apply(link(2, "b"));
  EXPECT_EQ(rows(), "context kernel\n- b b up\n- a a 1\n");
}

TEST_F(KernelTablesTest, DeletedAndCreatedAgainItHasNoOldAddress) {
  tables_.apply(link(2, "eth0"));
  tables_.apply(address(2, 0x0A000001, 8));
  EXPECT_TRUE(tables_.apply(gone(2)));
  EXPECT_FALSE(tables_.apply(gone(2)));
  EXPECT_EQ(rows(), "context kernel\n");
  tables_.apply(link(9, "eth0"));
  EXPECT_EQ(rows(), "context kernel\n- eth0 eth0 up\n");
}

TEST_F(KernelTablesTest, AddressesComeAndGo) {
  tables_.apply(link(2, "eth0"));
  EXPECT_TRUE(tables_.apply(address(2, 0x0A000001, 8)));
  EXPECT_TRUE(tables_.apply(address(2, 0x0A000001, 24)));
  EXPECT_FALSE(tables_.apply(address(2, 0x0A000001, 24)));
  EXPECT_TRUE(tables_.apply(without(address(2, 0x0A000001, 8))));
  EXPECT_FALSE(tables_.apply(without(address(2, 0x0A000001, 8))));
  EXPECT_FALSE(tables_.apply(without(address(3, 0x0A000001, 24))));
  EXPECT_EQ(rows(), "context kernel\n- eth0 eth0 up 10.0.0.1/24\n");
}

TEST_F(KernelTablesTest, OneLocalAddressMayHaveTwoPeers) {
  tables_.apply(link(2, "ppp0"));
  tables_.apply(address(2, 0x0A000002, 32, 0x0A000001));
  tables_.apply(address(2, 0x0A000002, 32, 0x0A000003));
  tables_.apply(without(address(2, 0x0A000002, 32, 0x0A000001)));
  EXPECT_EQ(rows(), "context kernel\n- ppp0 ppp0 up 10.0.0.2/32\n");
}

TEST_F(KernelTablesTest, AnEqualMessageChangesNothing) {
  EXPECT_TRUE(tables_.apply(link(2, "eth0", IFF_UP)));
  EXPECT_FALSE(tables_.apply(link(2, "eth0", IFF_UP | IFF_MULTICAST)));
  EXPECT_TRUE(tables_.apply(link(2, "eth0", UP)));
  for (const Kind kind : {Kind::INTERRUPTED, Kind::END, Kind::FAILURE}) {
    EXPECT_FALSE(tables_.apply({.kind = kind, .index = 2}));
  }
}

TEST_F(KernelTablesTest, ClearForgetsEverything) {
  tables_.apply(link(2, "eth0"));
  EXPECT_EQ(rows(), "context kernel\n- eth0 eth0 up\n");
  tables_.clear();
  EXPECT_EQ(rows(), "context kernel\n");
}

TEST_F(KernelTablesTest, ManyInterfacesAreWrittenAndRead) {
  for (int i = 1; i <= 300; ++i) {
    tables_.apply(link(i, ("if" + std::to_string(i)).c_str()));
    tables_.apply(address(i, 0x0A000000U + static_cast<std::uint32_t>(i), 32));
  }
  const std::string text = rows();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 301);
  EXPECT_NE(text.find("- if300 if300 up 10.0.1.44/32\n"), std::string::npos);
}

}  // namespace
