// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <type_traits>

#include "discovery/scans/ScanOutputParserArpScan.h"

namespace KX::NMS::Discovery {
namespace {

static_assert(!std::has_virtual_destructor_v<ScanOutputParser>);
static_assert(std::is_empty_v<ScanOutputParserArpScan> == std::is_empty_v<ScanOutputParser>);

std::string parse(const String& output) {
  Property::Value result;
  EXPECT_TRUE(ScanOutputParserArpScan().parseScanOutput(result, output).isSuccess());
  return result.toJson().c_str();
}

TEST(ScanOutputParserArpScanTest, LineOfTwoAddressesIsANode) {
  EXPECT_EQ(parse("192.0.2.20\t02:00:5e:00:00:0a\n"),
            R"({"nodes":[{"physicalAddress":"02:00:5E:00:00:0A","ipAddress":"192.0.2.20"}]})");
}

TEST(ScanOutputParserArpScanTest, EmptyOutputGivesAnEmptyList) {
  EXPECT_EQ(parse(""), R"({"nodes":[]})");
  EXPECT_EQ(parse("\r\n\r\n \t \n"), R"({"nodes":[]})");
}

TEST(ScanOutputParserArpScanTest, CarriageReturnsAndLineFeedsBothEndALine) {
  EXPECT_EQ(parse("192.0.2.20\t02:00:5e:00:00:0a\r\n192.0.2.21\tb\r192.0.2.22\tc\n\n"),
            R"({"nodes":[{"physicalAddress":"02:00:5E:00:00:0A","ipAddress":"192.0.2.20"},)"
            R"({"physicalAddress":"B","ipAddress":"192.0.2.21"},{"physicalAddress":"C","ipAddress":"192.0.2.22"}]})");
}

TEST(ScanOutputParserArpScanTest, LastLineNeedsNoEnd) {
  EXPECT_EQ(parse("192.0.2.20 a"), R"({"nodes":[{"physicalAddress":"A","ipAddress":"192.0.2.20"}]})");
}

TEST(ScanOutputParserArpScanTest, BlanksAndTabsInAnyNumberSeparateFields) {
  EXPECT_EQ(parse("  192.0.2.20 \t\v  02:00:5e:00:00:0a\t \n"),
            R"({"nodes":[{"physicalAddress":"02:00:5E:00:00:0A","ipAddress":"192.0.2.20"}]})");
}

TEST(ScanOutputParserArpScanTest, LinesWithAnyOtherNumberOfFieldsAreSkipped) {
  EXPECT_EQ(parse("192.0.2.20\n192.0.2.20\t02:00:5e:00:00:0a\tvendor\n192.0.2.20 a (DUP: 2)\n"), R"({"nodes":[]})");
}

TEST(ScanOutputParserArpScanTest, LinesWhoseFirstFieldIsNoAddressAreSkipped) {
  EXPECT_EQ(parse("Interface: eth0\nprinter 02:00:5e:00:00:0a\n192.0.2 a\n192.0.2.256 a\n192.0.2.20/24 a\nfe80::1 a\n"),
            R"({"nodes":[]})");
}

TEST(ScanOutputParserArpScanTest, RepeatedAnswersAreKeptInTheirOrder) {
  EXPECT_EQ(parse("192.0.2.21 b\n192.0.2.20 a\n192.0.2.21 b\n"),
            R"({"nodes":[{"physicalAddress":"B","ipAddress":"192.0.2.21"},)"
            R"({"physicalAddress":"A","ipAddress":"192.0.2.20"},{"physicalAddress":"B","ipAddress":"192.0.2.21"}]})");
}

TEST(ScanOutputParserArpScanTest, SecondFieldIsTakenWhateverItIs) {
  EXPECT_EQ(parse("192.0.2.20 not-a-mac"), R"({"nodes":[{"physicalAddress":"NOT-A-MAC","ipAddress":"192.0.2.20"}]})");
}

TEST(ScanOutputParserArpScanTest, OutputOfTheRealToolGivesItsHosts) {
  EXPECT_EQ(parse("Interface: eth1, type: EN10MB, MAC: 02:00:5e:00:01:01, IPv4: 10.9.0.1\n"
                  "Starting arp-scan 1.10.0 with 256 hosts (https://github.com/royhills/arp-scan)\n"
                  "10.9.0.11\t02:00:5e:00:02:0b\n"
                  "10.9.0.12\t02:00:5e:00:02:0c\n"
                  "\n"
                  "2 packets received by filter, 0 packets dropped by kernel\n"
                  "Ending arp-scan 1.10.0: 256 hosts scanned in 24.318 seconds (10.53 hosts/sec). 2 responded\n"),
            R"({"nodes":[{"physicalAddress":"02:00:5E:00:02:0B","ipAddress":"10.9.0.11"},)"
            R"({"physicalAddress":"02:00:5E:00:02:0C","ipAddress":"10.9.0.12"}]})");
}

TEST(ScanOutputParserArpScanTest, BytesOfAnyKindAreBytes) {
  const String output("192.0.2.20 a\0b\n\xff\xfe c\n", 20);
  EXPECT_EQ(parse(output), R"({"nodes":[{"physicalAddress":"A\u0000B","ipAddress":"192.0.2.20"}]})");
}

TEST(ScanOutputParserArpScanTest, OneParserServesManyScans) {
  const ScanOutputParserArpScan parser;
  Property::Value first;
  Property::Value second;
  EXPECT_TRUE(parser.parseScanOutput(first, "192.0.2.20 a").isSuccess());
  EXPECT_TRUE(parser.parseScanOutput(second, "").isSuccess());
  EXPECT_EQ(first["nodes"].size(), 1U);
  EXPECT_EQ(second["nodes"].size(), 0U);
}

}  // namespace
}  // namespace KX::NMS::Discovery
