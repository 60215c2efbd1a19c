// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent/ScanPlan.h"
#include "discovery/common/Validation.h"

namespace {

TEST(ScanPlanTest, ByDefaultAllServicesAreLookedForOnTheirUsualPorts) {
  EXPECT_EQ(describeScan(Options()).toJson(),
            R"({"id":"scan","scanType":"sequence","jobs":[{"scanType":"node"},)"
            R"({"scanType":"service","services":{"sip":{"ports":[5060]},"http":{"ports":[80]},"https":{"ports":[443]},)"
            R"("snmp":{"ports":[161]},"ping":{"ports":[0]}}},)"
            R"({"scanType":"status","servicePriorities":["ping","sip","http","https","snmp"]}]})");
}

TEST(ScanPlanTest, InterfacesThatMatchAreScannedPrivateOrNot) {
  Options options;
  options.interfaces.add("^lan");
  options.interfaces.add("wan");
  EXPECT_EQ(describeScan(options)["jobs"][0].toJson(),
            R"({"scanType":"node","interfaces":[{"regex":"^lan","privateNetworksOnly":false},)"
            R"({"regex":"wan","privateNetworksOnly":false}]})");
}

TEST(ScanPlanTest, AServiceMayHaveSeveralPortsAndAPingComesFirst) {
  Options options;
  for (const char* service : {"http:8080", "sip:5060", "http:80", "ping:0"}) {
    ASSERT_TRUE(addServicePort(service, options.services));
  }
  const auto jobs = describeScan(options)["jobs"];
  EXPECT_EQ(jobs[1]["services"].toJson(),
            R"({"http":{"ports":[8080,80]},"sip":{"ports":[5060]},"ping":{"ports":[0]}})");
  EXPECT_EQ(jobs[2]["servicePriorities"].toJson(), R"(["ping","http","sip"])");
}

TEST(ScanPlanTest, WithoutAPingTheStatusIsThatOfTheServicesAsked) {
  Options options;
  ASSERT_TRUE(addServicePort("snmp:161", options.services));
  EXPECT_EQ(describeScan(options)["jobs"][2]["servicePriorities"].toJson(), R"(["snmp"])");
}

TEST(ScanPlanTest, ItIsADescriptionThatAScheduleCouldHold) {
  Options options;
  options.interfaces.add("^lan");
  EXPECT_TRUE(KX::NMS::Discovery::validateJobDescriptionWhat(describeScan(options)).isSuccess());
}

}  // namespace
