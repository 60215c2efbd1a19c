// SPDX-License-Identifier: Apache-2.0
#include "tests/discovery/client/FakeServer.h"

namespace KX::NMS::Discovery {
namespace {

constexpr const char* HANDLED[] = {"syncNodes",  "addNodes",     "removeNodes",
                                   "blinkNodes", "onboardNodes", "updateJobDescriptions"};

TEST(CClientDiscoveryServiceTest, HasTheNameAndThePrefixOfItsInstance) {
  FakeServer server;
  EXPECT_EQ(server.service->serviceName(), "discovery");
  EXPECT_EQ(server.service->description(), "Node discovery");
  EXPECT_EQ(server.service->getLogPrefix(), "[discovery 1] ");
  EXPECT_EQ(server.service->monitor(), MON);
}

TEST(CClientDiscoveryServiceTest, RequestsAreHandledWhileItIsStarted) {
  FakeServer server;
  for (const char* name : HANDLED) EXPECT_TRUE(server.service->hasRequestHandler(name)) << name;
  const auto service = server.service;
  server.disconnect();
  for (const char* name : HANDLED) EXPECT_FALSE(service->hasRequestHandler(name)) << name;
}

TEST(CClientDiscoveryServiceTest, OtherRequestsAreUnknown) {
  FakeServer server;
  for (const char* name : {"", "syncnodes", "blinkNode", "BlinkNodes", "onboard", "jobStatus"}) {
    EXPECT_EQ(server.request(name, ""), nak(name, "Unknown request"));
  }
}

TEST(CClientDiscoveryServiceTest, WithoutACallbackForPlansTheyAreRefused) {
  Testing::VirtualEventLoop loop;
  Testing::RecordingChannel channel;
  const KXPPtr<CClientDiscoveryService> service(new CClientDiscoveryService("1"_s, &channel));
  ASSERT_TRUE(service->start().isSuccess());
  service->handleRequest(json(R"({"service":"discovery","name":"updateJobDescriptions","id":1,"jobDescriptions":[]})"));
  EXPECT_STREQ(channel.texts()[0].c_str(),
               nak("updateJobDescriptions", "Scan job scheduler not set up on device").c_str());
}

TEST(CClientDiscoveryServiceTest, WithoutARepositoryNodeRequestsAreRefused) {
  Testing::VirtualEventLoop loop;
  Testing::RecordingChannel channel;
  const KXPPtr<CClientDiscoveryService> service(new CClientDiscoveryService("1"_s, &channel));
  ASSERT_TRUE(service->start().isSuccess());
  for (const char* name : {"syncNodes", "addNodes", "removeNodes"}) {
    channel.clear();
    service->handleRequest(json(std::string(R"({"service":"discovery","name":")") + name + R"(","id":1,"nodes":[]})"));
    EXPECT_STREQ(channel.texts()[0].c_str(), nak(name, "Error").c_str());
    channel.clear();
    service->handleRequest(json(std::string(R"({"service":"discovery","name":")") + name + R"(","id":1})"));
    EXPECT_STREQ(channel.texts()[0].c_str(), nak(name, "Expecting nodes array").c_str());
  }
}

TEST(CClientDiscoveryServiceTest, WithoutARepositoryAnEventCarriesNoNodes) {
  Testing::VirtualEventLoop loop;
  Testing::RecordingChannel channel;
  const KXPPtr<CClientDiscoveryService> service(new CClientDiscoveryService("1"_s, &channel));
  service->sendJobStatusEvent(json(R"({"status":"successful"})"));
  EXPECT_EQ(channel.texts()[0], R"({"kind":"event","service":"discovery","name":"jobStatus","version":1,"sequence":1,)"
                                R"("jobStatus":{"status":"successful"}})");
  EXPECT_EQ(service->exportNodes(CClientDiscoveryService::All).toJson(), "[]");
}

}  // namespace
}  // namespace KX::NMS::Discovery
