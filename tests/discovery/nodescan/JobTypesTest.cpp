// SPDX-License-Identifier: Apache-2.0
#include "tests/discovery/nodescan/FakeDevice.h"

namespace KX::NMS::Discovery {
namespace {

TEST(JobTypesTest, NodeIsANodeScan) {
  FakeDevice device;
  const KXPtr<Job> job = createJobOfType("node"_s, device.loop, device.repository, "a"_s, 4, json("{}"));
  ASSERT_NE(job, nullptr);
  EXPECT_NE(dynamic_cast<JobNodeScan*>(job.get()), nullptr);
  EXPECT_EQ(job->id(), "a.4");
}

TEST(JobTypesTest, EveryOtherTypeIsUnknown) {
  FakeDevice device;
  for (const char* type : {"", "Node", "node ", "service", "status", "sequence", "nodes"}) {
    EXPECT_EQ(createJobOfType(type, device.loop, device.repository, "a"_s, 0, json("{}")), nullptr) << type;
  }
}

}  // namespace
}  // namespace KX::NMS::Discovery
