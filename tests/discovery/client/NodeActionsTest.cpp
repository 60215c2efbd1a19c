// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "platform/process/Shell.h"
#include "tests/discovery/client/FakeServer.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Keeps the arguments that a program would get, and says of every command that it has ended as it was told.
class RecordingRunner final : public Shell::Runner {
 public:
  [[nodiscard]] XCode invoke(const Shell::Command&, Shell::Terminated, Shell::Output, Shell::Output,
                             Future<String>&) override {
    ADD_FAILURE() << "node actions wait for their commands";
    return XCode(XCode::GENERIC_ERROR);
  }
  [[nodiscard]] XCode execute(const Shell::Command& command) override {
    XCode code = command.check();
    if (code.isErr()) return code;
    auto& arguments = executed.emplace_back();
    for (const String& argument : command.arguments()) arguments.emplace_back(argument.view());
    return result;
  }

  std::vector<std::vector<std::string>> executed;
  XCode result;
};

class NodeActionsTest : public testing::Test {
 protected:
  NodeActionsTest() { server_.loop.provide<Shell::Runner>(&runner_); }
  std::string blink(const std::string& nodes) { return server_.request("blinkNodes", ",\"nodes\":" + nodes); }
  std::string onboard(const std::string& nodes) { return server_.request("onboardNodes", ",\"nodes\":" + nodes); }

  RecordingRunner runner_;
  FakeServer server_;
};

TEST_F(NodeActionsTest, WithoutNodesNothingRuns) {
  EXPECT_EQ(blink("[]"), ack("blinkNodes", R"(,"nodes":[])"));
  EXPECT_EQ(onboard("[]"), ack("onboardNodes", R"(,"nodes":[])"));
  EXPECT_THAT(runner_.executed, IsEmpty());
}

TEST_F(NodeActionsTest, EveryNodeBlinksInTheOrderOfTheRequest) {
  EXPECT_EQ(blink(R"([{"ipAddress":"192.168.1.20"},{"ipAddress":"192.168.1.3"},{"ipAddress":"192.168.1.20"}])"),
            ack("blinkNodes", R"(,"nodes":[{"ipAddress":"192.168.1.20","status":"successful"},)"
                              R"({"ipAddress":"192.168.1.3","status":"successful"},)"
                              R"({"ipAddress":"192.168.1.20","status":"successful"}])"));
  EXPECT_THAT(runner_.executed, ElementsAre(ElementsAre("discovery-client", "-d", "192.168.1.20", "-b"),
                                            ElementsAre("discovery-client", "-d", "192.168.1.3", "-b"),
                                            ElementsAre("discovery-client", "-d", "192.168.1.20", "-b")));
}

TEST_F(NodeActionsTest, ANodeGetsItsOrganisationKeyAndTheServerIfItIsAString) {
  EXPECT_EQ(onboard(R"([{"ipAddress":"192.168.1.20","organizationKey":"K","server":"S"},)"
                    R"({"ipAddress":"192.168.1.21","organizationKey":"L"},)"
                    R"({"ipAddress":"192.168.1.22","organizationKey":"","server":5},)"
                    R"({"ipAddress":"192.168.1.23","organizationKey":"N","server":""}])"),
            ack("onboardNodes",
                R"(,"nodes":[{"ipAddress":"192.168.1.20","organizationKey":"K","server":"S","status":"successful"},)"
                R"({"ipAddress":"192.168.1.21","organizationKey":"L","status":"successful"},)"
                R"({"ipAddress":"192.168.1.22","organizationKey":"","server":5,"status":"successful"},)"
                R"({"ipAddress":"192.168.1.23","organizationKey":"N","server":"","status":"successful"}])"));
  EXPECT_THAT(runner_.executed, ElementsAre(ElementsAre("discovery-client", "-d", "192.168.1.20", "-o", "K:S"),
                                            ElementsAre("discovery-client", "-d", "192.168.1.21", "-o", "L"),
                                            ElementsAre("discovery-client", "-d", "192.168.1.22", "-o", ""),
                                            ElementsAre("discovery-client", "-d", "192.168.1.23", "-o", "N:")));
}

TEST_F(NodeActionsTest, WhateverAMemberHoldsStaysOneArgument) {
  blink(R"([{"ipAddress":"10.0.0.1 -o X; rm -rf /"},{"ipAddress":""}])");
  onboard(R"([{"ipAddress":"%s","organizationKey":"a b\t%s","server":"$(x) 'y'\n"}])");
  EXPECT_THAT(runner_.executed, ElementsAre(ElementsAre("discovery-client", "-d", "10.0.0.1 -o X; rm -rf /", "-b"),
                                            ElementsAre("discovery-client", "-d", "", "-b"),
                                            ElementsAre("discovery-client", "-d", "%s", "-o", "a b\t%s:$(x) 'y'\n")));
}

TEST_F(NodeActionsTest, AnArgumentWithANulIsNotRun) {
  EXPECT_EQ(onboard(R"([{"ipAddress":"a","organizationKey":"K","server":"s\u0000t"}])"),
            ack("onboardNodes", R"(,"nodes":[{"ipAddress":"a","organizationKey":"K","server":"s\u0000t",)"
                                R"("status":"successful"}])"));
  EXPECT_THAT(runner_.executed, IsEmpty());
}

TEST_F(NodeActionsTest, ACommandThatFailsIsReportedAsSuccessfulToo) {
  runner_.result = XCode::error("Exit status 3");
  EXPECT_EQ(blink(R"([{"ipAddress":"a"},{"ipAddress":"b"}])"),
            ack("blinkNodes",
                R"(,"nodes":[{"ipAddress":"a","status":"successful"},{"ipAddress":"b","status":"successful"}])"));
  EXPECT_EQ(runner_.executed.size(), 2U);
}

TEST_F(NodeActionsTest, FurtherMembersComeBackAndAStatusIsOverwrittenInItsPlace) {
  EXPECT_EQ(
      blink(R"([{"status":"?","id":{"a":[1,null]},"ipAddress":"a","reason":"mine"}])"),
      ack("blinkNodes", R"(,"nodes":[{"status":"successful","id":{"a":[1,null]},"ipAddress":"a","reason":"mine"}])"));
}

TEST_F(NodeActionsTest, NodesMustBeAnArray) {
  for (const char* name : {"blinkNodes", "onboardNodes"}) {
    for (const char* members : {"", R"(,"nodes":{})", R"(,"nodes":null)", R"(,"nodes":"10.0.0.9")"}) {
      EXPECT_EQ(server_.request(name, members), nak(name, "Expecting nodes array"));
    }
  }
}

TEST_F(NodeActionsTest, OneNodeThatCannotBeUsedAndNoCommandRuns) {
  const std::string good = R"([{"ipAddress":"a","organizationKey":"K"},)";
  for (const char* bad : {"{}", "7", "null", "[]", R"("b")", R"({"ipAddress":5,"organizationKey":"K"})"}) {
    EXPECT_EQ(blink(good + bad + "]"), nak("blinkNodes", "Expecing node IP address")) << bad;
    EXPECT_EQ(onboard(good + bad + "]"), nak("onboardNodes", "Expecing node IP address")) << bad;
  }
  for (const char* bad : {R"({"ipAddress":"b"})", R"({"ipAddress":"b","organizationKey":7})"}) {
    EXPECT_EQ(onboard(good + bad + ",{}]"), nak("onboardNodes", "Expecting node organization key")) << bad;
  }
  EXPECT_THAT(runner_.executed, IsEmpty());
}

TEST_F(NodeActionsTest, RequestsAreLoggedAtVerbosityThreeAndTheKeyInTheCommandOnly) {
  server_.log.clear();
  onboard(R"([{"ipAddress":"10.0.0.1","organizationKey":"KEY","server":"S"}])");
  EXPECT_THAT(server_.log.takeKindsAndLines(),
              ElementsAre("3 [discovery 1] Received onboard nodes request",
                          "3 [discovery 1] Executing: discovery-client -d 10.0.0.1 -o KEY:S",
                          "3 [discovery 1] Sending onboard nodes response"));
  blink(R"([{"ipAddress":"10.0.0.1"},{"ipAddress":"10.0.0.2"}])");
  EXPECT_THAT(server_.log.takeKindsAndLines(), ElementsAre("3 [discovery 1] Received blink nodes request",
                                                           "3 [discovery 1] Executing: discovery-client -d 10.0.0.1 -b",
                                                           "3 [discovery 1] Executing: discovery-client -d 10.0.0.2 -b",
                                                           "3 [discovery 1] Sending blink nodes response"));
  onboard(R"([{"ipAddress":"10.0.0.1"}])");
  EXPECT_THAT(server_.log.takeKindsAndLines(), ElementsAre("3 [discovery 1] Received onboard nodes request"));
  server_.log.setVerbosity(2);
  onboard(R"([{"ipAddress":"10.0.0.1","organizationKey":"KEY","server":"S"}])");
  EXPECT_THAT(server_.log.takeKindsAndLines(), IsEmpty());
}

TEST_F(NodeActionsTest, TheyNeedNoRepositoryAndTouchNone) {
  blink(R"([{"ipAddress":"a"}])");
  EXPECT_TRUE(server_.repository.getNodes().isEmpty());
  Testing::RecordingChannel channel;
  const KXPPtr<CClientDiscoveryService> service(new CClientDiscoveryService("1"_s, &channel));
  ASSERT_TRUE(service->start().isSuccess());
  service->handleRequest(json(R"({"service":"discovery","name":"blinkNodes","id":1,"nodes":[]})"));
  EXPECT_STREQ(channel.texts()[0].c_str(), ack("blinkNodes", R"(,"nodes":[])").c_str());
}

}  // namespace
}  // namespace KX::NMS::Discovery
