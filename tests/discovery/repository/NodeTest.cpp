// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "discovery/repository/Node.h"
#include "discovery/repository/Repository.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/discovery/common/Rows.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class NodeTest : public testing::Test {
 protected:
  NodeTest() { setenv("TZ", "UTC", 1); }

  KXLWPtr<Node> addManual(const char* ipAddress) { return repository_.addManualNode(ipAddress, nullptr); }
  // A node with everything that a node can have.
  KXLWPtr<Node> addFullNode() {
    const KXLWPtr<Node> node = repository_.addDiscoveredNode("02:00:5E:00:00:0A", "192.0.2.20", "LAN", "Varnel X 1.2",
                                                             true, Repository::UpdateExisting, nullptr, nullptr);
    KXStringHashTable<Service> services;
    services.set("sip", {"sip", 5060});
    services.set("http", {"http", 80});
    repository_.setDiscoveredServices("192.0.2.20", services, "", "1.3.6.1.4.1");
    repository_.setStatus("192.0.2.20", NodeStatus::UP, nullptr, nullptr);
    return node;
  }
  void forgetStatusChangeDate(const char* ipAddress) {
    const Clock invalid;
    repository_.setStatus(ipAddress, NodeStatus::UP, &invalid, nullptr);
    repository_.setStatus(ipAddress, NodeStatus::UNKNOWN, &invalid, nullptr);
  }
  static std::string wire(const KXLWPtr<Node>& node, Node::ServiceSelector selector = Node::WithServices) {
    return node->toPropertyValue(selector).toJson().c_str();
  }

  Testing::VirtualEventLoop loop_{Clock("2026-01-01T12:00:00.250Z"_s, Clock::UTC, 0)};
  Repository repository_;
};

TEST_F(NodeTest, NewOneHasTheInitialValues) {
  const KXLWPtr<Node> node(new Node);
  EXPECT_FALSE(node->isManual());
  EXPECT_FALSE(node->isDiscovered());
  EXPECT_EQ(node->physicalAddress(), "");
  EXPECT_EQ(node->ipAddress(), "");
  EXPECT_EQ(node->interface(), "");
  EXPECT_EQ(node->model(), "");
  EXPECT_EQ(node->systemObjectID(), "");
  EXPECT_FALSE(node->supportsOnboarding());
  EXPECT_EQ(node->status(), NodeStatus::UNKNOWN);
  EXPECT_EQ(node->statusChangeDate(), loop_.now());
  EXPECT_EQ(node->pendingServiceScans(), 2U);
  EXPECT_FALSE(node->isRecentlyAdded());
  EXPECT_FALSE(node->hasRecentlyDiscoveredServices());
  EXPECT_FALSE(node->isRecentlyChanged());
  EXPECT_TRUE(node->services().isEmpty());
}

TEST_F(NodeTest, NodeAsCreatedCarriesItsAddressItsStatusAndTheDateOfItsCreation) {
  EXPECT_EQ(wire(addManual("192.0.2.20")),
            R"({"ipAddress":"192.0.2.20","status":"unknown","statusChangeDate":"2026-01-01T12:00:00.250Z"})");
}

TEST_F(NodeTest, DateOfCreationMayBeBeyond2038) {
  loop_.setNow(Clock("2038-01-19T03:14:08.250Z"_s, Clock::UTC, 0));
  const KXLWPtr<Node> node = addManual("192.0.2.20");
  EXPECT_EQ(wire(node),
            R"({"ipAddress":"192.0.2.20","status":"unknown","statusChangeDate":"2038-01-19T03:14:08.250Z"})");
  EXPECT_THAT(rowsOf(*node), testing::Contains("1,0 Status Changed: 2038-01-19 03:14:08"));
}

TEST_F(NodeTest, NodeWithAnAddressOnlyAndNoValidDateHasExactlyTwoMembers) {
  const KXLWPtr<Node> node = addManual("192.0.2.20");
  forgetStatusChangeDate("192.0.2.20");
  EXPECT_EQ(wire(node), R"({"ipAddress":"192.0.2.20","status":"unknown"})");
}

TEST_F(NodeTest, MembersStandInTheirOrder) {
  EXPECT_EQ(wire(addFullNode()),
            R"({"ipAddress":"192.0.2.20","physicalAddress":"02:00:5E:00:00:0A","interface":"LAN",)"
            R"("model":"Varnel X 1.2","systemObjectID":"1.3.6.1.4.1","supportsOnboarding":true,"status":"up",)"
            R"("statusChangeDate":"2026-01-01T12:00:00.250Z","services":{"http":{"port":80},"sip":{"port":5060}}})");
}

TEST_F(NodeTest, WithoutOnboardingThereIsNoSuchMember) {
  EXPECT_EQ(addManual("192.0.2.20")->toPropertyValue(Node::WithServices).find("supportsOnboarding"), nullptr);
}

TEST_F(NodeTest, ServicesAreLeftOutWhenNotAskedForAndWhenThereAreNone) {
  EXPECT_EQ(addFullNode()->toPropertyValue(Node::WithoutServices).find("services"), nullptr);
  EXPECT_EQ(addManual("192.0.2.21")->toPropertyValue(Node::WithServices).find("services"), nullptr);
  EXPECT_EQ(addManual("192.0.2.21")->toPropertyValue(Node::WithoutServices).find("services"), nullptr);
}

TEST_F(NodeTest, ServicesStandInTheOrderOfTheirTable) {
  const KXLWPtr<Node> node = addManual("192.0.2.20");
  KXStringHashTable<Service> services;
  for (const char* name : {"sip", "http", "https", "snmp", "ping"}) services.set(name, {name, 0});
  repository_.setDiscoveredServices("192.0.2.20", services, "", "");
  EXPECT_THAT(wire(node), testing::EndsWith(R"("services":{"snmp":{"port":0},"ping":{"port":0},"http":{"port":0},)"
                                            R"("sip":{"port":0},"https":{"port":0}}})"));
}

TEST_F(NodeTest, StatusIsWrittenByName) {
  const KXLWPtr<Node> node = addManual("192.0.2.20");
  const auto status = [&] {
    return std::string(node->toPropertyValue(Node::WithServices)["status"].toString().c_str());
  };
  EXPECT_EQ(status(), "unknown");
  repository_.setStatus("192.0.2.20", NodeStatus::DOWN, nullptr, nullptr);
  EXPECT_EQ(status(), "down");
  repository_.setStatus("192.0.2.20", NodeStatus::UP, nullptr, nullptr);
  EXPECT_EQ(status(), "up");
}

TEST_F(NodeTest, StatusWithoutANameIsAnEmptyString) {
  const KXLWPtr<Node> node = addManual("192.0.2.20");
  repository_.setStatus("192.0.2.20", static_cast<NodeStatus>(7), nullptr, nullptr);
  EXPECT_EQ(wire(node), R"({"ipAddress":"192.0.2.20","status":"","statusChangeDate":"2026-01-01T12:00:00.250Z"})");
  EXPECT_THAT(rowsOf(*node), testing::Contains("1,0 Status:  (recently changed)"));
}

TEST_F(NodeTest, DateIsInUtcOnTheWireAndLocalForPeople) {
  const KXLWPtr<Node> node = addManual("192.0.2.20");
  setenv("TZ", "Asia/Tokyo", 1);
  EXPECT_EQ(node->toPropertyValue(Node::WithServices)["statusChangeDate"].toString(), "2026-01-01T12:00:00.250Z");
  EXPECT_THAT(rowsOf(*node), testing::Contains("1,0 Status Changed: 2026-01-01 21:00:00"));
  setenv("TZ", "UTC", 1);
}

TEST_F(NodeTest, RowsOfANodeWithEverything) {
  EXPECT_THAT(rowsOf(*addFullNode(), {.level = 1, .column = 2}, "New "),
              ElementsAre("1,2 New Discovered Node: 192.0.2.20 (recently added)",  //
                          "2,2 Physical Address: 02:00:5E:00:00:0A",               //
                          "2,2 Interface: LAN",                                    //
                          "2,2 Model: Varnel X 1.2",                               //
                          "2,2 System Object ID: 1.3.6.1.4.1",                     //
                          "2,2 Onboarding: supported",                             //
                          "2,2 Status: up (recently changed)",                     //
                          "2,2 Status Changed: 2026-01-01 12:00:00",               //
                          "2,2 Pending Service Scans: 2",                          //
                          "2,3 Service: http", "3,3 Port: 80",                     //
                          "2,3 Service: sip", "3,3 Port: 5060"));
}

TEST_F(NodeTest, RowsOfANodeWithNothing) {
  const KXLWPtr<Node> node(new Node);
  node->setPendingServiceScans(0);
  EXPECT_THAT(rowsOf(*node),
              ElementsAre("0,0 Manual Node: ", "1,0 Status: unknown", "1,0 Status Changed: 2026-01-01 12:00:00"));
}

TEST_F(NodeTest, InvalidDateIsShownAsNothing) {
  const KXLWPtr<Node> node = addManual("192.0.2.20");
  forgetStatusChangeDate("192.0.2.20");
  EXPECT_THAT(rowsOf(*node), testing::Contains("1,0 Status Changed: "));
}

TEST_F(NodeTest, NodeThatIsBothManualAndDiscoveredIsShownAsDiscovered) {
  const KXLWPtr<Node> node = addManual("192.0.2.20");
  repository_.addDiscoveredNode("02:00:5E:00:00:0A", "192.0.2.20", "LAN", "", false, Repository::UpdateExisting,
                                nullptr, nullptr);
  EXPECT_TRUE(node->isManual());
  EXPECT_TRUE(node->isDiscovered());
  EXPECT_EQ(rowsOf(*node)[0], "0,0 Discovered Node: 192.0.2.20 (recently added)");
}

TEST_F(NodeTest, MarksAreShownWhileTheyAreSet) {
  const KXLWPtr<Node> node = addFullNode();
  EXPECT_TRUE(node->isRecentlyAdded());
  EXPECT_TRUE(node->hasRecentlyDiscoveredServices());
  EXPECT_TRUE(node->isRecentlyChanged());
  node->clearRecentlyAdded();
  node->clearRecentlyDiscoveredServices();
  node->clearRecentlyChanged();
  EXPECT_FALSE(node->isRecentlyAdded());
  EXPECT_FALSE(node->hasRecentlyDiscoveredServices());
  EXPECT_FALSE(node->isRecentlyChanged());
  EXPECT_EQ(rowsOf(*node)[0], "0,0 Discovered Node: 192.0.2.20");
  EXPECT_THAT(rowsOf(*node), testing::Contains("1,0 Status: up"));
}

TEST_F(NodeTest, RowsBeyondTheLevelAreLeftOut) {
  const KXLWPtr<Node> node = addFullNode();
  EXPECT_THAT(rowsOf(*node, {.maxLevel = 1, .level = 2}), IsEmpty());
  EXPECT_THAT(rowsOf(*node, {.maxLevel = 1, .level = 1}),
              ElementsAre("1,0 Discovered Node: 192.0.2.20 (recently added)"));
  // Services, but no ports.
  const std::vector<std::string> rows = rowsOf(*node, {.maxLevel = 2, .level = 1});
  EXPECT_EQ(rows.size(), 11U);
  EXPECT_EQ(rows.back(), "2,1 Service: sip");
}

TEST_F(NodeTest, RowsBeyondTheColumnAreLeftOut) {
  const KXLWPtr<Node> node = addFullNode();
  EXPECT_THAT(rowsOf(*node, {.maxColumn = 1, .column = 2}), IsEmpty());
  // Services stand a column further.
  const std::vector<std::string> rows = rowsOf(*node, {.maxColumn = 1, .column = 1});
  EXPECT_EQ(rows.size(), 9U);
  EXPECT_EQ(rows.back(), "1,1 Pending Service Scans: 2");
}

}  // namespace
}  // namespace KX::NMS::Discovery
