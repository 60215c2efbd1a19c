// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "discovery/scheduling/Scheduler.h"
#include "tests/discovery/client/FakeServer.h"

namespace KX::NMS::Discovery {
namespace {

constexpr char NAME[] = "updateJobDescriptions";

TEST(JobDescriptionsTest, ThePlanReachesTheHostBeforeTheAnswer) {
  FakeServer server;
  EXPECT_EQ(server.request(NAME, R"(,"jobDescriptions":[{"id":"a"},7])"), ack(NAME));
  ASSERT_EQ(server.plans.size(), 1U);
  EXPECT_EQ(server.plans[0].toJson(), R"([{"id":"a"},7])");
}

TEST(JobDescriptionsTest, AnEmptyPlanIsAPlan) {
  FakeServer server;
  EXPECT_EQ(server.request(NAME, R"(,"jobDescriptions":[])"), ack(NAME));
  EXPECT_EQ(server.plans.size(), 1U);
}

TEST(JobDescriptionsTest, WithoutAnArrayTheRequestIsRefused) {
  FakeServer server;
  server.log.clear();
  for (const char* members : {"", R"(,"jobDescriptions":null)", R"(,"jobDescriptions":"x")"}) {
    EXPECT_EQ(server.request(NAME, members), nak(NAME, "Expecting jobDescriptions array"));
  }
  EXPECT_TRUE(server.plans.empty());
  EXPECT_TRUE(server.log.capture().has("[discovery 1] Received job descriptions request (with 0 jobs)"));
}

TEST(JobDescriptionsTest, TheNumberOfJobsIsLogged) {
  FakeServer server;
  server.log.clear();
  server.request(NAME, R"(,"jobDescriptions":[{},{},{}])");
  EXPECT_THAT(server.log.takeKindsAndLines(),
              testing::ElementsAre("3 [discovery 1] Received job descriptions request (with 3 jobs)"));
}

TEST(JobDescriptionsTest, AClientWithoutACallbackAcknowledgesAndDropsThePlan) {
  Testing::VirtualEventLoop loop;
  Testing::RecordingChannel channel;
  Repository repository;
  const KXPPtr<CClient> client(new CClient("a"_s, repository, {}, {}));
  KXPPtr<CService> service;
  ASSERT_TRUE(client->serviceFactory().createService("1"_s, &channel, service).isSuccess());
  ASSERT_TRUE(service->start().isSuccess());
  service->handleRequest(
      json(R"({"service":"discovery","name":"updateJobDescriptions","id":1,"jobDescriptions":[{}]})"));
  EXPECT_STREQ(channel.texts()[0].c_str(), ack(NAME).c_str());
  ASSERT_TRUE(service->stop().isSuccess());
}

TEST(JobDescriptionsTest, InvalidDescriptionsAreAcknowledgedAndKeptAsFailedJobs) {
  Testing::VirtualEventLoop loop;
  DiscoveryLog log(0);
  Testing::RecordingChannel channel;
  Repository repository;
  const KXPtr<Scheduler> scheduler(new Scheduler(loop, repository));
  const KXPPtr<CClient> client(
      new CClient("a"_s, repository, {}, [&](Property::Value plan) { scheduler->updateJobDescriptions(plan); }));
  KXPPtr<CService> service;
  ASSERT_TRUE(client->serviceFactory().createService("1"_s, &channel, service).isSuccess());
  ASSERT_TRUE(service->start().isSuccess());
  service->handleRequest(
      json(R"({"service":"discovery","name":"updateJobDescriptions","id":1,"jobDescriptions":[{"id":"a"}]})"));
  EXPECT_STREQ(channel.texts()[0].c_str(), ack(NAME).c_str());
  EXPECT_TRUE(log.capture().has("Invalid discovery scan description: Expecting schedule"));
  InfoContainer container;
  scheduler->getInfo(container, 9, 0, 9, 0, "");
  EXPECT_NE(container.toText().view().find("Scheduled Scans: 1"), std::string_view::npos);
  ASSERT_TRUE(service->stop().isSuccess());
}

}  // namespace
}  // namespace KX::NMS::Discovery
