// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/discovery/client/FakeServer.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;

constexpr char EVENT[] = R"({"kind":"event","service":"discovery","name":"jobStatus","version":1,"sequence":)";

class ExportTest : public testing::Test {
 protected:
  std::string exportAs(CClientDiscoveryService::ExportMode mode) {
    return server_.service->exportNodes(mode).toJson().c_str();
  }
  std::string changes() { return exportAs(CClientDiscoveryService::ChangesOnly); }
  void setServices(const char* ip, std::uint16_t port) {
    KXStringHashTable<Service> services;
    services.set("http"_s, Service{"http"_s, port});
    static_cast<void>(server_.repository.setDiscoveredServices(ip, services, "", ""));
  }
  void setStatus(const char* ip, NodeStatus status) {
    static_cast<void>(server_.repository.setStatus(ip, status, nullptr, nullptr));
  }
  FakeServer server_;
};

constexpr char A_NEW[] = R"({"ipAddress":"a","status":"unknown","statusChangeDate":"2026-01-01T00:00:00.000Z"})";
constexpr char A_UP[] = R"({"ipAddress":"a","status":"up","statusChangeDate":"2026-01-01T00:00:00.000Z"})";
constexpr char A_UP_HTTP[] =
    R"({"ipAddress":"a","status":"up","statusChangeDate":"2026-01-01T00:00:00.000Z","services":{"http":{"port":80}}})";

TEST_F(ExportTest, AllOfAnEmptyRepositoryIsAnEmptyArray) { EXPECT_EQ(exportAs(CClientDiscoveryService::All), "[]"); }

TEST_F(ExportTest, EveryNodeHasItsOwnServicesHoweverManyAreAlike) {
  std::string expected;
  for (unsigned i = 0; i < 300; ++i) {
    const String ip = String::format("n%u", i);
    server_.repository.addManualNode(ip, nullptr);
    KXStringHashTable<Service> services;
    const String name = String::format("s%u", i % 7);
    services.set(name, Service{name, static_cast<std::uint16_t>(i % 5)});
    static_cast<void>(server_.repository.setDiscoveredServices(ip, services, "", ""));
    expected += server_.repository.getNodeByIpAddress(ip)->toPropertyValue(Node::WithServices).toJson().c_str();
    expected += ",";
  }
  expected.back() = ']';
  EXPECT_EQ(exportAs(CClientDiscoveryService::All), "[" + expected);
}

TEST_F(ExportTest, AnAddedNodeIsExportedOnce) {
  server_.repository.addManualNode("a", nullptr);
  EXPECT_EQ(changes(), std::string("[") + A_NEW + "]");
  EXPECT_EQ(changes(), "[]");
}

TEST_F(ExportTest, ANodeAddedAndThenChangedIsSentAsAddedAndOnceMoreAsChanged) {
  server_.repository.addManualNode("a", nullptr);
  setServices("a", 80);
  setStatus("a", NodeStatus::UP);
  EXPECT_EQ(changes(), std::string("[") + A_UP_HTTP + "]");
  EXPECT_EQ(changes(), std::string("[") + A_UP_HTTP + "]") << "its services";
  EXPECT_EQ(changes(), std::string("[") + A_UP + "]") << "its status, without services";
  EXPECT_EQ(changes(), "[]");
}

TEST_F(ExportTest, AStatusChangeIsSentWithoutServices) {
  server_.repository.addManualNode("a", nullptr);
  setServices("a", 80);
  exportAs(CClientDiscoveryService::All);
  setStatus("a", NodeStatus::UP);
  EXPECT_EQ(changes(), std::string("[") + A_UP + "]");
}

TEST_F(ExportTest, AllTakesEveryMarkBack) {
  server_.repository.addManualNode("a", nullptr);
  setServices("a", 80);
  setStatus("a", NodeStatus::UP);
  EXPECT_EQ(exportAs(CClientDiscoveryService::All), std::string("[") + A_UP_HTTP + "]");
  EXPECT_EQ(changes(), "[]");
}

TEST_F(ExportTest, AnUpdateOfAKnownNodeIsNotExported) {
  const auto add = [&](const char* model) {
    server_.repository.addDiscoveredNode("A", "a", "LAN1", model, false, Repository::UpdateExisting, nullptr, nullptr);
  };
  add("M");
  changes();
  add("N");
  EXPECT_EQ(changes(), "[]");
}

TEST_F(ExportTest, ARemovalIsNotExported) {
  server_.repository.addManualNode("a", nullptr);
  changes();
  server_.repository.removeNode("a");
  EXPECT_EQ(changes(), "[]");
}

TEST_F(ExportTest, NodesAreExportedInTheOrderOfTheirCreation) {
  for (const char* ip : {"c", "a", "b"}) server_.repository.addManualNode(ip, nullptr);
  std::vector<std::string> addresses;
  const Property::Value nodes = server_.service->exportNodes(CClientDiscoveryService::ChangesOnly);
  for (const Property::Value& node : nodes.elements()) {
    addresses.push_back(node["ipAddress"].toString().c_str());
  }
  EXPECT_THAT(addresses, ElementsAre("c", "a", "b"));
}

TEST_F(ExportTest, TheCountsAreLoggedAtVerbosityThree) {
  for (const char* ip : {"a", "b", "c", "d"}) server_.repository.addManualNode(ip, nullptr);
  exportAs(CClientDiscoveryService::All);
  setServices("a", 80);
  setStatus("b", NodeStatus::UP);
  server_.repository.addManualNode("e", nullptr);
  server_.log.clear();
  changes();
  EXPECT_THAT(server_.log.takeKindsAndLines(),
              ElementsAre("3 [discovery 1] Collecting 5 nodes from repository (changes only)",
                          "3 [discovery 1] Resulting in 3 nodes to be sent to the server",
                          "3 [discovery 1] - Recently added: 1", "3 [discovery 1] - Recently discovered services: 1",
                          "3 [discovery 1] - Recently changed: 1"));
}

TEST_F(ExportTest, ASuccessfulJobCarriesTheChanges) {
  server_.repository.addManualNode("a", nullptr);
  EXPECT_EQ(server_.report(R"({"id":"n","scanType":"node","status":"successful"})"),
            std::string(EVENT) + R"(1,"jobStatus":{"id":"n","scanType":"node","status":"successful"},"nodes":[)" +
                A_NEW + "]}");
}

TEST_F(ExportTest, ASuccessfulJobThatChangedNothingHasNoNodesMember) {
  EXPECT_EQ(server_.report(R"({"id":"n","scanType":"node","status":"successful"})"),
            std::string(EVENT) + R"(1,"jobStatus":{"id":"n","scanType":"node","status":"successful"}})");
}

TEST_F(ExportTest, AnyOtherStatusLeavesTheChangesWhereTheyAre) {
  server_.repository.addManualNode("a", nullptr);
  for (const char* status : {"idle", "running", "failed", "cancelled", "Successful"}) {
    const std::string event = server_.report(std::string(R"({"id":"n","status":")") + status + "\"}");
    EXPECT_EQ(event.find("\"nodes\""), std::string::npos) << status;
    EXPECT_NE(event, "") << status;
  }
  EXPECT_NE(server_.report(R"({"status":"successful"})").find("\"nodes\""), std::string::npos);
}

TEST_F(ExportTest, AStatusScanIsReportedOnlyWhenItChangedANode) {
  for (const char* status : {"running", "failed", "cancelled", "successful"}) {
    EXPECT_EQ(server_.report(std::string(R"({"id":"s","scanType":"status","status":")") + status + "\"}"), "")
        << status;
  }
  server_.repository.addManualNode("a", nullptr);
  EXPECT_NE(server_.report(R"({"id":"s","scanType":"status","status":"successful"})"), "");
}

TEST_F(ExportTest, EventsAreCounted) {
  server_.report(R"({"status":"running"})");
  EXPECT_EQ(server_.report(R"({"status":"running"})"), std::string(EVENT) + R"(2,"jobStatus":{"status":"running"}})");
  server_.disconnect();
  server_.connect();
  EXPECT_EQ(server_.report(R"({"status":"running"})"), std::string(EVENT) + R"(1,"jobStatus":{"status":"running"}})");
}

TEST_F(ExportTest, WhatCouldNotBeSentWaitsForTheNextFullSync) {
  server_.repository.addManualNode("a", nullptr);
  server_.channel.failWith(XCode::error("gone"));
  server_.report(R"({"status":"successful"})");
  server_.channel.failWith(XCode());
  EXPECT_EQ(server_.report(R"({"status":"successful"})").find("\"nodes\""), std::string::npos);
  EXPECT_NE(server_.sync("[]").find(A_NEW), std::string::npos);
}

TEST_F(ExportTest, EventsAreLogged) {
  server_.log.clear();
  server_.report(R"({"id":"n","scanType":"node","status":"running"})");
  server_.report(R"({"id":"s","scanType":"status","status":"failed"})");
  server_.repository.addManualNode("a", nullptr);
  server_.report(R"({"id":"n","scanType":"node","status":"successful"})");
  EXPECT_THAT(
      server_.log.takeKindsAndLines(),
      ElementsAre("3 [discovery 1] Job n: running", "3 [discovery 1] Sending job status event (without node updates)",
                  "3 [discovery 1] No need to send a status event for failed status job",
                  "3 [discovery 1] Collecting 1 nodes from repository (changes only)",
                  "3 [discovery 1] Resulting in 1 nodes to be sent to the server",
                  "3 [discovery 1] - Recently added: 1", "3 [discovery 1] Job n: successful",
                  "3 [discovery 1] Sending job status event (with 1 node updates)"));
}

}  // namespace
}  // namespace KX::NMS::Discovery
