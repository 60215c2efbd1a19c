// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent/ScanPlan.h"
#include "discovery/common/Validation.h"
#include "platform/text/KXRegEx.h"

namespace {

TEST(ScanPlanTest, ByDefaultAllServicesAreLookedForOnTheirUsualPorts) {
  const Options options;
  EXPECT_EQ(describeNodeScan(options).toJson(), R"({"scanType":"node"})");
  EXPECT_EQ(describeServiceScan(options).toJson(),
            R"({"scanType":"service","onlyWhenNeeded":true,"services":{"sip":{"ports":[5060]},"http":{"ports":[80]},)"
            R"("https":{"ports":[443]},"snmp":{"ports":[161]},"ping":{"ports":[0]}}})");
  EXPECT_EQ(describeStatusScan(options).toJson(),
            R"({"scanType":"status","servicePriorities":["ping","sip","http","https","snmp"]})");
  EXPECT_EQ(describeServices(options), "sip:5060 http:80 https:443 snmp:161 ping");
}

TEST(ScanPlanTest, InterfacesThatMatchAreScannedPrivateOrNot) {
  Options options;
  options.interfaces.add("^lan");
  options.interfaces.add("wan");
  EXPECT_EQ(describeNodeScan(options).toJson(),
            R"({"scanType":"node","interfaces":[{"regex":"^lan","privateNetworksOnly":false},)"
            R"({"regex":"wan","privateNetworksOnly":false}]})");
}

TEST(ScanPlanTest, OneInterfaceIsMeantLiterally) {
  for (const char* const name : {"lan0", "l.n[0]", "a\\E|b", "Büro 1", "^x$"}) {
    const String expression = describeNodeScanOf(name)["interfaces"][0]["regex"].toString();
    const auto pattern = KXRegEx::COMPILE_EXPRESSION(expression);
    EXPECT_TRUE(pattern->match(name)) << expression.c_str();
    EXPECT_FALSE(pattern->match(String::format("%s1", name))) << expression.c_str();
    EXPECT_FALSE(pattern->match("lXn0")) << expression.c_str();
  }
}

TEST(ScanPlanTest, AServiceMayHaveSeveralPortsAndAPingComesFirst) {
  Options options;
  for (const char* service : {"http:8080", "sip:5060", "http:80", "ping:0"}) {
    ASSERT_TRUE(addServicePort(service, options.services));
  }
  EXPECT_EQ(describeServiceScan(options)["services"].toJson(),
            R"({"http":{"ports":[8080,80]},"sip":{"ports":[5060]},"ping":{"ports":[0]}})");
  EXPECT_EQ(describeStatusScan(options)["servicePriorities"].toJson(), R"(["ping","http","sip"])");
}

TEST(ScanPlanTest, WithoutAPingTheStatusIsThatOfTheServicesAsked) {
  Options options;
  ASSERT_TRUE(addServicePort("snmp:161", options.services));
  EXPECT_EQ(describeStatusScan(options)["servicePriorities"].toJson(), R"(["snmp"])");
}

TEST(ScanPlanTest, TheyAreDescriptionsThatAScheduleCouldHold) {
  Options options;
  options.interfaces.add("^lan");
  for (const auto& description : {describeNodeScan(options), describeNodeScanOf("lan 0"), describeServiceScan(options),
                                  describeStatusScan(options)}) {
    EXPECT_TRUE(KX::NMS::Discovery::validateJobDescriptionWhat(description).isSuccess());
  }
}

}  // namespace
