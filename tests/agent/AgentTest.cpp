// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include "agent/Agent.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/discovery/common/DiscoveryLog.h"

namespace {

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
