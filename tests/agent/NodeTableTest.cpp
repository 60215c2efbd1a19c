// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "agent/NodeTable.h"

namespace {

using KX::NMS::Discovery::NodeStatus;
using KX::NMS::Discovery::Repository;
using KX::NMS::Discovery::Service;

class NodeTableTest : public testing::Test {
 protected:
  void add(const char* mac, const char* ip, const char* model, bool onboarding = false) {
    static_cast<void>(repository_.addDiscoveredNode(mac, ip, "lan0", model, onboarding, Repository::UpdateExisting,
                                                    nullptr, nullptr));
  }
  void addServices(const char* ip, std::initializer_list<Service> services) {
    KXStringHashTable<Service> table(16);
    for (const Service& service : services) table.set(service.name, service);
    static_cast<void>(repository_.setDiscoveredServices(ip, table, String(), String()));
  }
  void setStatus(const char* ip, NodeStatus status) {
    static_cast<void>(repository_.setStatus(ip, status, nullptr, nullptr));
  }
  std::string printed(const TableStyle& style = {}, const Vendors& vendors = Vendors("/nowhere", {})) const {
    std::string text;
    for (const String& line : layOutNodes(repository_, vendors, answers_, style)) text.append(line.view()).append("\n");
    return text;
  }

  Repository repository_;
  ServiceAnswers answers_;
};

TEST_F(NodeTableTest, NodesAreSortedByAddressAndEmptyColumnsLeftOut) {
  add("A", "10.0.0.10", "");
  add("B", "10.0.0.9", "");
  EXPECT_EQ(printed(),
            "ADDRESS    MAC  INTERFACE  SERVICES\n"
            "10.0.0.9   B    lan0       (not asked)\n"
            "10.0.0.10  A    lan0       (not asked)\n");
}

TEST_F(NodeTableTest, EveryColumnThatSomeNodeFillsIsShown) {
  add("A", "10.0.0.1", "Varnel X", true);
  add("B", "10.0.0.2", "");
  addServices("10.0.0.2", {{"snmp", 161}, {"ping", 0}, {"http", 8080}});
  setStatus("10.0.0.1", NodeStatus::DOWN);
  setStatus("10.0.0.2", NodeStatus::UP);
  EXPECT_EQ(printed(),
            "ADDRESS   MAC  INTERFACE  MODEL     SERVICES                 STATUS  ONBOARDING\n"
            "10.0.0.1  A    lan0       Varnel X  (not asked)              down    supported\n"
            "10.0.0.2  B    lan0                 http:8080 ping snmp:161  up\n");
}

TEST_F(NodeTableTest, TheStatusIsColoured) {
  add("A", "10.0.0.1", "");
  add("B", "10.0.0.2", "");
  setStatus("10.0.0.1", NodeStatus::DOWN);
  setStatus("10.0.0.2", NodeStatus::UP);
  EXPECT_EQ(printed({0, true}),
            "\033[1mADDRESS   MAC  INTERFACE  SERVICES     STATUS\033[0m\n"
            "10.0.0.1  A    lan0       (not asked)  \033[31mdown\033[0m\n"
            "10.0.0.2  B    lan0       (not asked)  \033[32mup\033[0m\n");
}

TEST_F(NodeTableTest, ANarrowTerminalShowsWhichDeviceAnswersAndWhetherItStillDoes) {
  add("00:00:5E:00:53:01", "10.0.0.1", "A model with quite a long name", true);
  addServices("10.0.0.1", {{"http", 80}, {"https", 443}, {"sip", 5060}});
  setStatus("10.0.0.1", NodeStatus::UP);
  EXPECT_EQ(printed({80}),
            "ADDRESS   MAC                INTERFACE  MODEL            SERVICES         STATUS\n"
            "10.0.0.1  00:00:5E:00:53:01  lan0       A model with q…  http:80 https:…  up\n");
  EXPECT_EQ(printed({40}),
            "ADDRESS   SERVICES                STATUS\n"
            "10.0.0.1  http:80 https:443 sip…  up\n");
}

TEST_F(NodeTableTest, WhatTheNetworkSaysCannotCommandTheTerminal) {
  add("A\x1b[1m", "10.0.0.1", "\x1b[2J\n\xc2\x9b");
  addServices("10.0.0.1", {{"ht\rtp", 80}});
  const std::string text = printed();
  EXPECT_NE(text.find("\\x1b[2J\\n\\u009b"), std::string::npos);
  EXPECT_NE(text.find("ht\\rtp:80"), std::string::npos);
  EXPECT_EQ(text.find_first_of("\x1b\r"), std::string::npos);
}

TEST_F(NodeTableTest, VendorsAreNamedAndCannotCommandTheTerminalEither) {
  char path[] = "/tmp/kx-table-XXXXXX";
  ASSERT_NE(mkdtemp(path), nullptr);
  const std::string table = std::string(path) + "/table";
  std::ofstream(table) << "001122\tAcme\x1b[2J\n";
  add("00:11:22:33:44:55", "10.0.0.1", "");
  KXVector<String> addresses;
  addresses.add("00:11:22:33:44:55");
  EXPECT_EQ(printed({}, Vendors(table.c_str(), addresses)),
            "ADDRESS   MAC                INTERFACE  VENDOR       SERVICES\n"
            "10.0.0.1  00:11:22:33:44:55  lan0       Acme\\x1b[2J  (not asked)\n");
  std::filesystem::remove_all(path);
}

TEST_F(NodeTableTest, WhoHasNoServiceHasRefusedOrBeenSilent) {
  add("A", "10.0.0.1", "");
  add("B", "10.0.0.2", "");
  KX::Property::Value result;
  ASSERT_TRUE(result
                  .fromJson(R"({"nodes":[
      {"ipAddress":"10.0.0.1","services":[{"service":"http","successful":false,"reason":"Connection refused"}]},
      {"ipAddress":"10.0.0.2","services":[{"service":"http","successful":false,"reason":"No answer"}]}]})")
                  .isSuccess());
  answers_.add(result);
  EXPECT_EQ(printed(),
            "ADDRESS   MAC  INTERFACE  SERVICES\n"
            "10.0.0.1  A    lan0       (refused)\n"
            "10.0.0.2  B    lan0       (silent)\n");
}

TEST_F(NodeTableTest, WithoutNodesThereIsNoTable) { EXPECT_EQ(printed(), ""); }

TEST_F(NodeTableTest, NodesAndServicesAreCounted) {
  EXPECT_EQ(summarise(repository_), "0 nodes with 0 services");
  add("A", "10.0.0.1", "");
  addServices("10.0.0.1", {{"ping", 0}});
  EXPECT_EQ(summarise(repository_), "1 node with 1 service");
  add("B", "10.0.0.2", "");
  addServices("10.0.0.2", {{"ping", 0}, {"http", 80}});
  EXPECT_EQ(summarise(repository_), "2 nodes with 3 services");
}

}  // namespace
