// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent/InterfaceChoice.h"
#include "agent/ScanPlan.h"
#include "tests/discovery/nodescan/FakeDevice.h"

namespace {

using KX::NMS::Discovery::FakeDevice;

class NullSink final : public RTD::LogSink {
 public:
  void write(const RTD::LogLine&) override { ++lines; }
  std::size_t lines = 0;
};

class InterfaceChoiceTest : public testing::Test {
 protected:
  InterfaceChoiceTest() {
    device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
    device_.addInterface("LAN2", "eth2", "192.168.1.0/24", 1);
    device_.addInterface("WAN", "eth3", "203.0.113.0/24");
    device_.addInterface("WAN2", "eth4", "203.0.114.0/24", 1);
    device_.execute("INSERT INTO ip_interface VALUES (9, 1, 2, 10, 'LOOSE', NULL, 3)");
    device_.execute("INSERT INTO ip_interface_address VALUES (9, 9, 2, 10, '10.2.0.0/16')");
  }
  // A line each: the choice and a mark for those that are chosen.
  std::string choose(const Options& options = {}) {
    std::vector<InterfaceChoice> choices;
    EXPECT_TRUE(chooseInterfaces(device_.loop, sink_, describeNodeScan(options), choices).isSuccess());
    std::string text;
    for (const InterfaceChoice& choice : choices) {
      text += std::string(choice.isChosen ? "+" : "-") + describe(choice).c_str() + "\n";
    }
    return text;
  }

  FakeDevice device_;
  NullSink sink_;
};

TEST_F(InterfaceChoiceTest, ByDefaultPrivateNetworksAreChosen) {
  EXPECT_EQ(choose(),
            "+LAN1: private network\n"
            "-LAN2: down\n"
            "-WAN: public\n"
            "-WAN2: down\n"
            "-LOOSE: not bound\n");
}

TEST_F(InterfaceChoiceTest, NamesAreAskedForPrivateOrNot) {
  Options options;
  options.interfaces.add("nothing");
  options.interfaces.add("^WAN|^LOOSE");
  EXPECT_EQ(choose(options),
            "-LAN1: no match\n"
            "-LAN2: no match, down\n"
            "+WAN: asked for\n"
            "-WAN2: down\n"
            "-LOOSE: not bound\n");
}

TEST_F(InterfaceChoiceTest, TheDeviceIsTheOneThatTheInterfaceIsBoundTo) {
  std::vector<InterfaceChoice> choices;
  ASSERT_TRUE(chooseInterfaces(device_.loop, sink_, describeNodeScan({}), choices).isSuccess());
  ASSERT_EQ(choices.size(), 5U);
  EXPECT_EQ(choices[0].device, "eth1");
  EXPECT_EQ(choices[4].device, "");
}

TEST_F(InterfaceChoiceTest, ANameMayLookLikeADecision) {
  device_.addInterface("X:\n    V Scan this IP interface", "eth5", "203.0.115.0/24");
  EXPECT_NE(choose().find("-X:\n    V Scan this IP interface: public\n"), std::string::npos);
}

TEST_F(InterfaceChoiceTest, TheLogIsWhatTheMonitorAsksFor) {
  choose();
  EXPECT_GT(sink_.lines, 0U);  // of a monitor of level 1
  sink_.lines = 0;
  RTD::Monitor quiet("discovery"_s, 0, sink_);
  RTD::Monitor* const before = std::exchange(KX::NMS::Discovery::MON, &quiet);
  choose();
  EXPECT_EQ(KX::NMS::Discovery::MON, &quiet);
  KX::NMS::Discovery::MON = before;
  EXPECT_EQ(sink_.lines, 0U);
}

TEST_F(InterfaceChoiceTest, TroubleWithTheDatabaseIsAnError) {
  std::vector<InterfaceChoice> choices;
  device_.loop.provide<DB::Database>(nullptr);
  EXPECT_TRUE(chooseInterfaces(device_.loop, sink_, describeNodeScan({}), choices).isErr());
}

}  // namespace
