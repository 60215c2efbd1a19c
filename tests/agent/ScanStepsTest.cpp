// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent/ScanSteps.h"

namespace {

using KX::NMS::Discovery::Repository;
using KX::NMS::Discovery::Service;
using KX::Property::Value;

class ScanStepsTest : public testing::Test {
 protected:
  ScanStepsTest() {
    for (const char* ip : {"10.0.0.1", "10.0.0.2"}) static_cast<void>(repository_.addManualNode(ip, nullptr));
    KXStringHashTable<Service> services(16);
    services.set("http"_s, {"http"_s, 80});
    static_cast<void>(repository_.setDiscoveredServices("10.0.0.1", services, String(), String()));
  }
  std::string stepOf(const char* json) const {
    Value job;
    EXPECT_TRUE(job.fromJson(json).isSuccess());
    const ScanStep step = findRunningStep(job, repository_);
    return String::format("%zu/%zu %s", step.number, step.total, step.text.c_str()).c_str();
  }

  Repository repository_;
};

TEST_F(ScanStepsTest, ANodeScanHasAStepForEachOfItsScans) {
  EXPECT_EQ(stepOf(R"({"scanType":"node","status":"running","scans":[
      {"type":"ARP","name":"lan0","status":"failed"},{"type":"Discovery","name":"lan0","status":"running"},
      {"type":"ARP","name":"lan1","status":"idle"}]})"),
            "2/3 Discovery on lan0");
}

TEST_F(ScanStepsTest, OtherJobsAreOneStepAndSayHowManyNodesTheyAsk) {
  EXPECT_EQ(stepOf(R"({"scanType":"service","status":"running"})"), "1/1 services of 2 nodes");
  EXPECT_EQ(stepOf(R"({"scanType":"status","status":"running"})"), "1/1 status of 1 node");
}

TEST_F(ScanStepsTest, StepsCountThroughSequencesOfSequences) {
  EXPECT_EQ(stepOf(R"({"scanType":"sequence","status":"running","jobs":[
      {"scanType":"node","status":"successful","scans":[{"status":"successful"},{"status":"failed"}]},
      {"scanType":"sequence","status":"running","jobs":[
        {"scanType":"service","status":"running"},{"scanType":"status","status":"idle"}]},
      {"scanType":"status","status":"idle"}]})"),
            "3/5 services of 2 nodes");
}

TEST_F(ScanStepsTest, BetweenScansNoStepRuns) {
  EXPECT_EQ(stepOf(R"({"scanType":"sequence","status":"running","jobs":[
      {"scanType":"node","status":"running","scans":[]},{"scanType":"service","status":"idle"}]})"),
            "0/1 ");
}

}  // namespace
