// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "agent/Agent.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/discovery/common/DiscoveryLog.h"

namespace {

KX::Clock at(const char* time) { return KX::Clock(String(time), KX::Clock::UTC, 0); }

TEST(AgentTest, AnUnreadablePlanKeepsTheLinkClosed) {
  KX::NMS::Discovery::DiscoveryLog log(1);
  KX::Testing::VirtualEventLoop loop;
  Options options;
  options.link = Options::LinkKind::UNIX;
  options.socketPath = "/tmp/kx-agent-never-made";
  options.plan = "/nowhere/plan";
  Agent agent(loop, *KX::NMS::Discovery::MON, options);
  EXPECT_EQ(agent.start([] {}).toString(), "cannot read the plan /nowhere/plan: No such file or directory");
  EXPECT_NE(access("/tmp/kx-agent-never-made", F_OK), 0);
}

// Runs a job in a far future, so that its next run is computed there.
TEST(AgentTest, APlanIsTakenAnewWhereTheClockWentBack) {
  KX::NMS::Discovery::DiscoveryLog log(1);
  KX::Testing::VirtualEventLoop loop(at("2026-01-01T00:00:00Z"));
  char folder[] = "/tmp/kx-agent-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  Options options;
  options.link = Options::LinkKind::UNIX;
  options.socketPath = String::format("%s/socket", folder);
  options.plan = String::format("%s/plan", folder);
  std::ofstream(options.plan.c_str()) << R"([{"id":"p","schedule":"0 0 12 * * *"}])";
  Agent agent(loop, *KX::NMS::Discovery::MON, options);
  ASSERT_TRUE(agent.start([] {}).isSuccess());
  const auto nextRunIn = [&agent](const char* year) {
    return agent.describe().view().find("Next run: " + std::string(year) + "-01-0") != std::string_view::npos;
  };
  EXPECT_TRUE(nextRunIn("2026"));
  loop.setNow(at("2046-01-01T13:00:00Z"));
  loop.advance(std::chrono::seconds(15));
  EXPECT_TRUE(nextRunIn("2046")) << agent.describe().c_str();
  loop.setNow(at("2026-01-01T01:00:00Z"));
  loop.advance(std::chrono::seconds(15));
  EXPECT_TRUE(nextRunIn("2046")) << "kept, unless the host hears of it";
  agent.takePlanAnew();
  EXPECT_TRUE(nextRunIn("2026")) << agent.describe().c_str();
  agent.stop();
  std::filesystem::remove_all(folder);
}

TEST(AgentTest, APlanThatIsTooLongIsRefused) {
  KX::NMS::Discovery::DiscoveryLog log(0);
  KX::Testing::VirtualEventLoop loop;
  char folder[] = "/tmp/kx-agent-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  for (const bool isTooLong : {false, true}) {
    Options options;
    options.link = Options::LinkKind::UNIX;
    options.socketPath = String::format("%s/socket", folder);
    options.plan = String::format("%s/plan", folder);
    std::ofstream plan(options.plan.c_str());
    plan << "[{}";
    for (std::size_t count = isTooLong ? 0 : 1; count < Agent::MOST_DESCRIPTIONS; ++count) plan << ",{}";
    plan << "]";
    plan.close();
    Agent agent(loop, *KX::NMS::Discovery::MON, options);
    ASSERT_TRUE(agent.start([] {}).isSuccess());
    const std::string shown = agent.describe().c_str();
    EXPECT_NE(shown.find(isTooLong ? "Updates Received: 0" : "Updates Received: 1"), std::string::npos);
    EXPECT_EQ(log.capture().has(RTD::REFUSAL, "[agent] Plan refused: more than 32768 job descriptions"), isTooLong);
    log.clear();
    agent.stop();
  }
  std::filesystem::remove_all(folder);
}

TEST(AgentTest, WithoutAPlanNothingIsTakenAnew) {
  KX::NMS::Discovery::DiscoveryLog log(1);
  KX::Testing::VirtualEventLoop loop;
  Options options;
  Agent agent(loop, *KX::NMS::Discovery::MON, options);
  agent.takePlanAnew();
  EXPECT_NE(agent.describe().view().find("Updates Received: 0"), std::string_view::npos);
}

TEST(AgentTest, DescribesItsParts) {
  KX::NMS::Discovery::DiscoveryLog log(1);
  KX::Testing::VirtualEventLoop loop;
  Options options;
  const Agent agent(loop, *KX::NMS::Discovery::MON, options);
  const String text = agent.describe();
  const auto repository = text.view().find("Local Node Repository\n");
  const auto scheduler = text.view().find("Network Scanning Scheduler\n");
  const auto client = text.view().find("Quelix Discovery Client\n");
  EXPECT_LT(repository, scheduler);
  EXPECT_LT(scheduler, client);
  EXPECT_NE(client, std::string_view::npos);
}

}  // namespace
