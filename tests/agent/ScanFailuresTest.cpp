// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent/ScanFailures.h"

namespace {

using KX::Property::Value;

bool addScan(ScanFailures& failures, const char* json) {
  Value scan;
  EXPECT_TRUE(scan.fromJson(json).isSuccess());
  return failures.addScan(scan);
}

TEST(ScanFailuresTest, ASuccessIsNoFailure) {
  ScanFailures failures;
  EXPECT_TRUE(addScan(failures, R"({"type":"ARP","name":"lan0","status":"successful"})"));
  EXPECT_TRUE(failures.isEmpty());
}

TEST(ScanFailuresTest, WhatWasNotRunIsNeither) {
  ScanFailures failures;
  EXPECT_FALSE(addScan(failures, R"({"type":"ARP","name":"lan0","status":"idle"})"));
  EXPECT_TRUE(failures.isEmpty());
}

TEST(ScanFailuresTest, TheSameFailureOnSeveralInterfacesIsOne) {
  ScanFailures failures;
  for (const char* const scan : {R"({"type":"ARP","name":"lan0","status":"failed","reason":"Exit status 1"})",
                                 R"({"type":"Discovery","name":"lan0","status":"failed","reason":"not there"})",
                                 R"({"type":"ARP","name":"lan1","status":"failed","reason":"Exit status 2"})",
                                 R"({"type":"Discovery","name":"lan1","status":"failed","reason":"not there"})"}) {
    EXPECT_FALSE(addScan(failures, scan));
  }
  EXPECT_EQ(failures.describe("no scan succeeded"),
            "no scan succeeded: ARP scan on lan0: Exit status 1; Discovery scan on lan0, lan1: not there; "
            "ARP scan on lan1: Exit status 2");
}

TEST(ScanFailuresTest, WhatIsAboutNoInterfaceNamesNone) {
  ScanFailures failures;
  failures.add("service scan (servicescan)", String(), "Exit status 3");
  ScanFailures all;
  all.add("ARP sweep", "lan0", "no IPv4 network");
  all.add(failures);
  EXPECT_EQ(all.describe("some scans failed"),
            "some scans failed: ARP sweep on lan0: no IPv4 network; service scan (servicescan): Exit status 3");
}

}  // namespace
