// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent/ScanOutcome.h"

namespace {

using KX::NMS::Discovery::Repository;
using KX::NMS::Discovery::Service;
using KX::Property::Value;

class ScanOutcomeTest : public testing::Test {
 protected:
  // The judgement of a sequence whose node scan made these scans, and whose other jobs ended so.
  ScanOutcome judge(const char* scans, const char* service = R"("status":"idle")",
                    const char* status = R"("status":"idle")") const {
    Value sequence;
    EXPECT_TRUE(sequence
                    .fromJson(String::format(R"({"jobs":[{"scans":[%s]},{%s},{%s}],"status":"successful"})", scans,
                                             service, status))
                    .isSuccess());
    return judgeScan(sequence, repository_);
  }
  void addNode(const char* service = nullptr) {
    static_cast<void>(repository_.addDiscoveredNode("A", "10.0.0.1", "lan0", "", false, Repository::UpdateExisting,
                                                    nullptr, nullptr));
    if (service == nullptr) return;
    KXStringHashTable<Service> services(16);
    services.set(service, {service, 80});
    static_cast<void>(repository_.setDiscoveredServices("10.0.0.1", services, String(), String()));
  }

  Repository repository_;
};

constexpr char FOUND[] = R"({"type":"ARP","name":"lan0","status":"successful"})";
constexpr char SUCCESSFUL[] = R"("status":"successful")";

TEST_F(ScanOutcomeTest, AllIsWellWhenEveryScanSucceeds) {
  addNode("http");
  const ScanOutcome outcome = judge(FOUND, SUCCESSFUL, SUCCESSFUL);
  EXPECT_EQ(outcome.failure, "");
  EXPECT_EQ(outcome.warning, "");
}

TEST_F(ScanOutcomeTest, NoNodesAreNoFailure) {
  const ScanOutcome outcome = judge(FOUND);
  EXPECT_EQ(outcome.failure, "");
  EXPECT_EQ(outcome.warning, "");
}

TEST_F(ScanOutcomeTest, NodesWithoutServicesAreNoFailure) {
  addNode();
  EXPECT_EQ(judge(FOUND, SUCCESSFUL).warning, "");
}

TEST_F(ScanOutcomeTest, WithoutAScanNoInterfaceWasSelected) {
  EXPECT_EQ(judge("").failure, "no interface was selected");
}

TEST_F(ScanOutcomeTest, WhenNoScanSucceedsEachSaysWhy) {
  const ScanOutcome outcome = judge(R"({"type":"ARP","name":"lan0","status":"failed","reason":"Exit status 1"},)"
                                    R"({"type":"Discovery","name":"lan0","status":"failed","reason":"not there"},)"
                                    R"({"type":"ARP","name":"lan1","status":"failed","reason":"Exit status 2"},)"
                                    R"({"type":"Discovery","name":"lan1","status":"failed","reason":"not there"})");
  EXPECT_EQ(outcome.failure,
            "no scan succeeded: ARP scan on lan0: Exit status 1; Discovery scan on lan0, lan1: not there; "
            "ARP scan on lan1: Exit status 2");
  EXPECT_EQ(outcome.warning, "");
}

TEST_F(ScanOutcomeTest, WhatFailsBesideASuccessIsAWarning) {
  addNode();
  const String scans =
      String::format(R"(%s,{"type":"Discovery","name":"lan0","status":"failed","reason":"not there"})", FOUND);
  const ScanOutcome outcome = judge(scans.c_str(), R"("status":"failed","reason":"Exit status 3")");
  EXPECT_EQ(outcome.failure, "");
  EXPECT_EQ(outcome.warning,
            "some scans failed: Discovery scan on lan0: not there; service scan (servicescan): Exit status 3");
}

TEST_F(ScanOutcomeTest, AFailedStatusScanIsAWarning) {
  addNode("http");
  EXPECT_EQ(judge(FOUND, SUCCESSFUL, R"("status":"failed","reason":"Incompatible scan output")").warning,
            "some scans failed: status scan (servicescan): Incompatible scan output");
}

TEST_F(ScanOutcomeTest, AJobThatHadWorkAndDidNotStartIsAWarning) {
  addNode("http");
  EXPECT_EQ(judge(FOUND).warning,
            "some scans failed: service scan (servicescan): it could not be prepared (--verbosity 1 shows why); "
            "status scan (servicescan): it could not be prepared (--verbosity 1 shows why)");
}

}  // namespace
