// SPDX-License-Identifier: Apache-2.0
#include "discovery/common/Validation.h"
#include "discovery/nodescan/JobSequence.h"
#include "discovery/scans/JobServiceScan.h"
#include "discovery/scans/JobStatusScan.h"
#include "tests/discovery/nodescan/FakeDevice.h"

namespace KX::NMS::Discovery {
namespace {

template <class T>
void expectType(const char* type) {
  FakeDevice device;
  const KXPtr<Job> job = createJobOfType(type, device.loop, device.repository, "a"_s, 4, json("{}"));
  ASSERT_NE(job, nullptr) << type;
  EXPECT_NE(dynamic_cast<T*>(job.get()), nullptr) << type;
  EXPECT_EQ(job->id(), "a.4");
}

TEST(JobTypesTest, EveryTypeHasItsClass) {
  expectType<JobNodeScan>("node");
  expectType<JobServiceScan>("service");
  expectType<JobStatusScan>("status");
  expectType<JobSequence>("sequence");
}

TEST(JobTypesTest, TheTypesAreThoseOfTheValidation) {
  FakeDevice device;
  for (const char* type : {"node", "service", "status", "sequence", "", "Node", "node ", "services", "nodes"}) {
    const KXPtr<Job> job = createJobOfType(type, device.loop, device.repository, "a"_s, 0, json("{}"));
    EXPECT_EQ(job != nullptr, isScanType(type)) << type;
  }
}

TEST(JobTypesTest, EveryOtherTypeIsUnknown) {
  FakeDevice device;
  for (const char* type : {"", "Node", "node ", "services", "Status", "sequenc", "nodes"}) {
    EXPECT_EQ(createJobOfType(type, device.loop, device.repository, "a"_s, 0, json("{}")), nullptr) << type;
  }
}

}  // namespace
}  // namespace KX::NMS::Discovery
