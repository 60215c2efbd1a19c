// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "tests/discovery/client/FakeServer.h"
#include "tests/discovery/common/Rows.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;

ServiceFactoryIf* registeredFactory() { return Factory::INSTANCE().find("discovery"_s); }

TEST(CClientTest, RegistersItsFactoryAndTakesItAway) {
  Testing::VirtualEventLoop loop;
  Repository repository;
  KXPPtr<CClient> client(new CClient("a"_s, repository, {}, {}));
  EXPECT_EQ(registeredFactory(), &client->serviceFactory());
  const auto registrations = Factory::INSTANCE().registrations();
  const auto& last = registrations[registrations.size() - 1];
  EXPECT_EQ(last.name, "discovery");
  EXPECT_EQ(static_cast<unsigned>(last.direction), 0U);
  EXPECT_EQ(static_cast<unsigned>(last.demand), 1U);
  EXPECT_EQ(static_cast<unsigned>(last.protocolPhase), 4U);
  client = nullptr;
  EXPECT_EQ(registeredFactory(), nullptr);
}

TEST(CClientTest, TwoClientsInOneProcessKeepTheirServicesApart) {
  FakeServer one;
  FakeServer other;
  one.sync(R"([{"ipAddress":"10.0.0.1"}])");
  EXPECT_EQ(one.repository.getNodes().size(), 1U);
  EXPECT_TRUE(other.repository.getNodes().isEmpty());
  other.disconnect();
  EXPECT_TRUE(one.client->isConnected());
  EXPECT_FALSE(other.client->isConnected());
}

TEST(CClientTest, LogsItsCreationAndDestruction) {
  DiscoveryLog log(1);
  Testing::VirtualEventLoop loop;
  Repository repository;
  KXPPtr<CClient> client(new CClient("a"_s, repository, {}, {}));
  client = nullptr;
  EXPECT_THAT(log.takeLines(), ElementsAre("[client] Discovery Client Created", "[client] Discovery Client Destroyed"));
  log.setVerbosity(0);
  client = KXPPtr<CClient>(new CClient("a"_s, repository, {}, {}));
  client = nullptr;
  EXPECT_TRUE(log.takeLines().empty());
}

TEST(CClientTest, RunsWithoutAMonitor) {
  FakeServer server;
  MON = nullptr;
  EXPECT_EQ(server.sync("[]"), ack("syncNodes", ",\"nodes\":[]"));
}

TEST(CClientTest, IsConnectedWhileAServiceRuns) {
  FakeServer server;
  EXPECT_TRUE(server.client->isConnected());
  server.disconnect();
  EXPECT_FALSE(server.client->isConnected());
  server.connect();
  EXPECT_TRUE(server.client->isConnected());
}

TEST(CClientTest, IsNotConnectedToAServiceThatTheHostStoppedAsItStarted) {
  Testing::VirtualEventLoop loop;
  Repository repository;
  Testing::RecordingChannel channel;
  KXPPtr<CService> service;
  const KXPPtr<CClient> client(new CClient("a"_s, repository, [&] { static_cast<void>(service->stop()); }, {}));
  ASSERT_TRUE(client->serviceFactory().createService("1"_s, &channel, service).isSuccess());
  ASSERT_TRUE(service->start().isSuccess());
  EXPECT_FALSE(client->isConnected());
  EXPECT_FALSE(service->hasRequestHandler("syncNodes"_s));
  EXPECT_TRUE(client->sendJobStatusEvent(json(R"({"id":"a","status":"failed"})")).isErr());
}

TEST(CClientTest, EveryStartOfAServiceCallsTheHostAndNoStopDoes) {
  FakeServer server;
  EXPECT_EQ(server.connections, 1);
  server.disconnect();
  EXPECT_EQ(server.connections, 1);
  server.connect();
  EXPECT_EQ(server.connections, 2);
}

TEST(CClientTest, WithoutACallbackAServiceStartsAllTheSame) {
  Testing::VirtualEventLoop loop;
  Repository repository;
  Testing::RecordingChannel channel;
  const KXPPtr<CClient> client(new CClient("a"_s, repository, {}, {}));
  KXPPtr<CService> service;
  ASSERT_TRUE(client->serviceFactory().createService("1"_s, &channel, service).isSuccess());
  EXPECT_FALSE(client->isConnected());
  ASSERT_TRUE(service->start().isSuccess());
  EXPECT_TRUE(client->isConnected());
  ASSERT_TRUE(service->stop().isSuccess());
}

TEST(CClientTest, WhileDisconnectedAJobStatusIsRefusedAndNothingIsSent) {
  FakeServer server;
  server.disconnect();
  server.channel.clear();
  const XCode result = server.client->sendJobStatusEvent(json(R"({"id":"a","status":"successful"})"));
  EXPECT_EQ(result.code(), XCode::GENERIC_ERROR);
  EXPECT_EQ(result.toString(), "Error");
  EXPECT_TRUE(server.channel.texts().isEmpty());
}

TEST(CClientTest, WhileConnectedAJobStatusIsSentAndSuccessEvenWhenTheChannelFails) {
  FakeServer server;
  EXPECT_TRUE(server.client->sendJobStatusEvent(json(R"({"id":"a","status":"running"})")).isSuccess());
  EXPECT_EQ(server.channel.texts().size(), 1U);
  server.channel.failWith(XCode::error("gone"));
  EXPECT_TRUE(server.client->sendJobStatusEvent(json(R"({"id":"a","status":"running"})")).isSuccess());
}

TEST(CClientTest, AServiceThatOutlivesItsClientCallsNothing) {
  Testing::VirtualEventLoop loop;
  Testing::RecordingChannel channel;
  Repository repository;
  KXPPtr<CService> service;
  int plans = 0;
  {
    const KXPPtr<CClient> client(new CClient("a"_s, repository, {}, [&](Property::Value) { ++plans; }));
    ASSERT_TRUE(client->serviceFactory().createService("1"_s, &channel, service).isSuccess());
    ASSERT_TRUE(service->start().isSuccess());
  }
  service->handleRequest(json(R"({"name":"updateJobDescriptions","id":1,"jobDescriptions":[]})"));
  EXPECT_EQ(plans, 0);
  EXPECT_TRUE(service->stop().isSuccess());
}

TEST(CClientTest, DiagnosticsShowTheConnection) {
  FakeServer server;
  EXPECT_THAT(rowsOf(*server.client, {}, "The "),
              ElementsAre("0,0 The Quelix Discovery Client: ", "1,0 Connected: yes"));
  server.disconnect();
  EXPECT_THAT(rowsOf(*server.client), ElementsAre("0,0 Quelix Discovery Client: ", "1,0 Connected: no"));
  EXPECT_THAT(rowsOf(*server.client, {.maxLevel = 0}), ElementsAre("0,0 Quelix Discovery Client: "));
  EXPECT_TRUE(rowsOf(*server.client, {.maxColumn = 0, .column = 1}).empty());
}

TEST(CClientTest, AnswersForItsInterfaces) {
  FakeServer server;
  EXPECT_EQ(server.client->queryInterface(kxInterfaceId<IInfo>()), static_cast<IInfo*>(server.client.get()));
  EXPECT_EQ(server.client->queryInterface(kxInterfaceId<CClient>()), server.client.get());
  EXPECT_EQ(server.client->queryInterface(kxInterfaceId<int>()), nullptr);
}

}  // namespace
}  // namespace KX::NMS::Discovery
