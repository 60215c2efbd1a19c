// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/discovery/client/FakeServer.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;

class NodeRequestsTest : public testing::Test {
 protected:
  const Node& node(std::size_t index) const { return *server_.repository.getNodes()[index]; }
  FakeServer server_;
};

constexpr char FULL_NODE[] =
    R"([{"ipAddress":"10.0.0.1","physicalAddress":"02:00:5E:00:00:01","interface":"LAN1","model":"M",)"
    R"("systemObjectID":"1.3.6","supportsOnboarding":true,"status":"up","statusChangeDate":"2025-06-01T10:00:00Z",)"
    R"("services":{"http":{"port":80}}}])";

TEST_F(NodeRequestsTest, NodesMustBeAnArrayOrTheRepositoryStaysUntouched) {
  for (const char* name : {"syncNodes", "addNodes", "removeNodes"}) {
    server_.repository.addManualNode("10.0.0.9", nullptr);
    for (const char* members : {"", R"(,"nodes":{})", R"(,"nodes":null)", R"(,"nodes":"10.0.0.9")"}) {
      EXPECT_EQ(server_.request(name, members), nak(name, "Expecting nodes array"));
    }
    EXPECT_EQ(server_.repository.getNodes().size(), 1U);
  }
}

TEST_F(NodeRequestsTest, SyncEntersEveryMemberAndAnswersWithAllNodes) {
  EXPECT_EQ(server_.sync(FULL_NODE),
            ack("syncNodes", R"(,"nodes":[{"ipAddress":"10.0.0.1","physicalAddress":"02:00:5E:00:00:01",)"
                             R"("interface":"LAN1","model":"M","systemObjectID":"1.3.6","supportsOnboarding":true,)"
                             R"("status":"up","statusChangeDate":"2025-06-01T10:00:00.000Z",)"
                             R"("services":{"http":{"port":80}}}])"));
  EXPECT_TRUE(node(0).isDiscovered());
  EXPECT_FALSE(node(0).isManual());
}

TEST_F(NodeRequestsTest, SyncClearsEveryChangeMark) {
  server_.sync(FULL_NODE);
  EXPECT_FALSE(node(0).isRecentlyAdded());
  EXPECT_FALSE(node(0).hasRecentlyDiscoveredServices());
  EXPECT_FALSE(node(0).isRecentlyChanged());
}

TEST_F(NodeRequestsTest, SyncOfAnElementWithoutAPhysicalAddressMakesAManualNodeWithItsServices) {
  server_.sync(R"([{"ipAddress":"10.0.0.1","model":"M","services":{"sip":{"port":5060}}}])");
  EXPECT_TRUE(node(0).isManual());
  EXPECT_FALSE(node(0).isDiscovered());
  ASSERT_NE(node(0).services().find("sip"), nullptr);
  EXPECT_EQ(node(0).services().find("sip")->port, 5060);
  EXPECT_EQ(node(0).model(), "M");
}

TEST_F(NodeRequestsTest, SyncOfAManualNodeWithoutServicesDropsItsModel) {
  server_.sync(R"([{"ipAddress":"10.0.0.1","model":"M"}])");
  EXPECT_EQ(node(0).model(), "");
}

TEST_F(NodeRequestsTest, SyncOfAnEmptyArrayAnswersWithEverythingThatTheDeviceKnows) {
  server_.repository.addManualNode("10.0.0.1", nullptr);
  server_.repository.addManualNode("10.0.0.2", nullptr);
  EXPECT_EQ(
      server_.sync("[]"),
      ack("syncNodes",
          R"(,"nodes":[{"ipAddress":"10.0.0.1","status":"unknown","statusChangeDate":"2026-01-01T00:00:00.000Z"},)"
          R"({"ipAddress":"10.0.0.2","status":"unknown","statusChangeDate":"2026-01-01T00:00:00.000Z"}])"));
}

TEST_F(NodeRequestsTest, NodesOfTheFirstSyncOweNoServiceScanAndThoseOfTheSecondOweTwo) {
  server_.sync(R"([{"ipAddress":"10.0.0.1"},{"ipAddress":"10.0.0.2","physicalAddress":"B"}])");
  EXPECT_EQ(node(0).pendingServiceScans(), 0U);
  EXPECT_EQ(node(1).pendingServiceScans(), 0U);
  server_.sync(R"([{"ipAddress":"10.0.0.1"},{"ipAddress":"10.0.0.3"}])");
  EXPECT_EQ(node(0).pendingServiceScans(), 0U);
  EXPECT_EQ(node(2).pendingServiceScans(), 2U);
}

TEST_F(NodeRequestsTest, ASyncWithTheStatusThatTheNodeHasChangesNothing) {
  server_.sync(R"([{"ipAddress":"10.0.0.1","status":"up","statusChangeDate":"2025-06-01T10:00:00Z"}])");
  server_.sync(R"([{"ipAddress":"10.0.0.1","status":"up","statusChangeDate":"2025-07-01T10:00:00Z"}])");
  EXPECT_EQ(node(0).statusChangeDate().utc().toString(0), "2025-06-01T10:00:00.000Z");
}

TEST_F(NodeRequestsTest, DatesBeyond2038ComeBackAsTheyWere) {
  const std::string nodes =
      R"([{"ipAddress":"10.0.0.1","status":"up","statusChangeDate":"2038-01-19T03:14:08.000Z"},)"
      R"({"ipAddress":"10.0.0.2","status":"down","statusChangeDate":"2126-05-06T07:08:09.010Z"}])";
  EXPECT_EQ(server_.sync(nodes), ack("syncNodes", R"(,"nodes":)" + nodes));
}

TEST_F(NodeRequestsTest, OnlyUpAndDownAreStatuses) {
  server_.sync(R"([{"ipAddress":"a","status":"down"},{"ipAddress":"b","status":"Up"},{"ipAddress":"c","status":2},)"
               R"({"ipAddress":"d","status":"unknown"},{"ipAddress":"e"}])");
  EXPECT_EQ(node(0).status(), NodeStatus::DOWN);
  for (std::size_t index = 1; index < 5; ++index) EXPECT_EQ(node(index).status(), NodeStatus::UNKNOWN) << index;
}

TEST_F(NodeRequestsTest, AStatusWithoutAUsableDateLeavesTheNodeWithoutOne) {
  EXPECT_EQ(server_.sync(R"([{"ipAddress":"10.0.0.1","status":"up","statusChangeDate":"yesterday"}])"),
            ack("syncNodes", R"(,"nodes":[{"ipAddress":"10.0.0.1","status":"up"}])"));
}

TEST_F(NodeRequestsTest, TheDevicesOwnDiscoveryWinsOverTheServersCopy) {
  server_.repository.addDiscoveredNode("A", "10.0.0.1", "LAN1", "M", true, Repository::UpdateExisting, nullptr,
                                       nullptr);
  server_.sync(R"([{"ipAddress":"10.0.0.7","physicalAddress":"A","interface":"X","model":"Y"}])");
  EXPECT_EQ(node(0).ipAddress(), "10.0.0.1");
  EXPECT_EQ(node(0).interface(), "LAN1");
  EXPECT_EQ(node(0).model(), "M");
}

TEST_F(NodeRequestsTest, PortsThatDoNotFitAreUnknown) {
  server_.sync(R"([{"ipAddress":"a","services":{"s1":{"port":70000},"s2":{"port":-1},"s3":{"port":"80"},"s4":{},)"
               R"("s5":7,"s6":{"port":65535}}}])");
  for (const char* name : {"s1", "s2", "s3", "s4", "s5"}) EXPECT_EQ(node(0).services().find(name)->port, 0) << name;
  EXPECT_EQ(node(0).services().find("s6")->port, 65535);
}

TEST_F(NodeRequestsTest, ServicesThatAreNoObjectAreNone) {
  server_.sync(R"([{"ipAddress":"a","services":[{"port":80}],"model":"M"}])");
  EXPECT_TRUE(node(0).services().isEmpty());
}

TEST_F(NodeRequestsTest, ElementsThatAreNoObjectsCountAsEmptyOnes) {
  EXPECT_EQ(server_.request("addNodes", R"(,"nodes":[7,"x",null,[],{}])"), ack("addNodes"));
  EXPECT_EQ(server_.repository.getNodes().size(), 1U);
  EXPECT_EQ(node(0).ipAddress(), "");
  EXPECT_EQ(server_.request("removeNodes", R"(,"nodes":[false])"), ack("removeNodes"));
  EXPECT_TRUE(server_.repository.getNodes().isEmpty());
  server_.sync("[7]");
  EXPECT_EQ(server_.repository.getNodes().size(), 1U);
}

TEST_F(NodeRequestsTest, AddMakesManualNodesOnce) {
  EXPECT_EQ(server_.request("addNodes", R"(,"nodes":[{"ipAddress":"10.0.0.1"},{"ipAddress":"10.0.0.1"}])"),
            ack("addNodes"));
  ASSERT_EQ(server_.repository.getNodes().size(), 1U);
  EXPECT_TRUE(node(0).isManual());
  EXPECT_EQ(node(0).pendingServiceScans(), 2U);
}

TEST_F(NodeRequestsTest, RemovingAnUnknownNodeIsAcknowledged) {
  EXPECT_EQ(server_.request("removeNodes", R"(,"nodes":[{"ipAddress":"10.9.9.9"}])"), ack("removeNodes"));
}

TEST_F(NodeRequestsTest, RemoveTakesNodesAway) {
  server_.sync(R"([{"ipAddress":"a"},{"ipAddress":"b"},{"ipAddress":"c"}])");
  server_.request("removeNodes", R"(,"nodes":[{"ipAddress":"b"}])");
  ASSERT_EQ(server_.repository.getNodes().size(), 2U);
  EXPECT_EQ(node(0).ipAddress(), "a");
  EXPECT_EQ(node(1).ipAddress(), "c");
}

TEST_F(NodeRequestsTest, NodesAboveTheLimitAreLeftOutWithOneLineARequest) {
  for (unsigned i = 1; i < server_.repository.nodeLimit(); ++i) {
    static_cast<void>(server_.repository.addManualNode(String::format("%u", i), nullptr));
  }
  server_.log.setVerbosity(0);
  server_.log.clear();
  EXPECT_EQ(server_.request("addNodes", R"(,"nodes":[{"ipAddress":"a"},{"ipAddress":"b"},{"ipAddress":"c"}])"),
            ack("addNodes"));
  EXPECT_THAT(server_.log.takeKindsAndLines(), ElementsAre("4 [discovery 1] Node limit of 100000 reached"));
  const std::string answer = server_.sync(
      R"([{"ipAddress":"a","status":"up"},{"ipAddress":"d","physicalAddress":"D","services":{"x":{"port":1}}},)"
      R"({"ipAddress":"e","status":"up"}])");
  EXPECT_THAT(server_.log.takeKindsAndLines(), ElementsAre("4 [discovery 1] Node limit of 100000 reached"));
  EXPECT_EQ(server_.repository.getNodes().size(), server_.repository.nodeLimit());
  EXPECT_EQ(server_.repository.getNodeByIpAddress("a")->status(), NodeStatus::UP);
  EXPECT_EQ(answer.find(R"("d")"), std::string::npos);
}

TEST_F(NodeRequestsTest, TheAnswerIsSentEvenWhenTheChannelFails) {
  server_.channel.failWith(XCode::error("gone"));
  server_.service->handleRequest(json(R"({"name":"syncNodes","id":1,"nodes":[{"ipAddress":"a"}]})"));
  EXPECT_EQ(server_.repository.getNodes().size(), 1U);
}

TEST_F(NodeRequestsTest, RequestsAndAnswersAreLogged) {
  server_.log.clear();
  server_.sync(R"([{"ipAddress":"a"},{"ipAddress":"b","physicalAddress":"B","interface":"LAN1"}])");
  server_.request("addNodes", R"(,"nodes":[{"ipAddress":"c"}])");
  server_.request("removeNodes", R"(,"nodes":[{"ipAddress":"c"}])");
  EXPECT_THAT(
      server_.log.takeKindsAndLines(),
      ElementsAre("3 [discovery 1] Received sync nodes request", "3 [discovery 1]   New manual node from server: a",
                  "3 [discovery 1]   New discovered node from server: b at B on interface LAN1",
                  "3 [discovery 1] Collecting 2 nodes from repository (all)",
                  "3 [discovery 1] Resulting in 2 nodes to be sent to the server", "3 [discovery 1] - Forced: 2",
                  "3 [discovery 1] Sending sync nodes response (with 2 nodes)",
                  "3 [discovery 1] Received add nodes request", "3 [discovery 1]   New manual node from server: c",
                  "3 [discovery 1] Sending add nodes response", "3 [discovery 1] Received remove nodes request",
                  "3 [discovery 1] Sending remove nodes response"));
}

TEST_F(NodeRequestsTest, BelowVerbosityThreeNothingOfItIsLogged) {
  server_.log.setVerbosity(2);
  server_.log.clear();
  server_.sync(R"([{"ipAddress":"a"}])");
  EXPECT_TRUE(server_.log.takeLines().empty());
}

}  // namespace
}  // namespace KX::NMS::Discovery
