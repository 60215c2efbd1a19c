// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "discovery/scans/ScanOutputParserDiscoveryScan.h"

namespace KX::NMS::Discovery {
namespace {

// The document read, or the error of the JSON reader.
std::string parse(const String& output) {
  Property::Value result;
  const XCode code = ScanOutputParserDiscoveryScan().parseScanOutput(result, output);
  if (code.isErr()) {
    EXPECT_FALSE(result.isValid());
    return std::string("error: ") + code.toString().c_str();
  }
  return result.toJson().c_str();
}

std::string readerError(const char* output) {
  Property::Value value;
  return std::string("error: ") + value.fromJson(output).toString().c_str();
}

TEST(ScanOutputParserDiscoveryScanTest, DocumentIsTakenAsItIs) {
  EXPECT_EQ(parse(R"({ "nodes" : [ {"ipAddress":"192.0.2.20","x":[1,null]} ] })"
                  "\n"),
            R"({"nodes":[{"ipAddress":"192.0.2.20","x":[1,null]}]})");
}

TEST(ScanOutputParserDiscoveryScanTest, DocumentWithoutNodesIsAccepted) {
  EXPECT_EQ(parse("{}"), "{}");
  EXPECT_EQ(parse("[]"), "[]");
  EXPECT_EQ(parse("7"), "7");
}

TEST(ScanOutputParserDiscoveryScanTest, WhatIsNoDocumentGivesTheErrorOfTheJsonReader) {
  for (const char* output : {"", "\n", "{", "usage: discovery-client", R"({"nodes":[]} trailing)", "\xff"}) {
    EXPECT_EQ(parse(output), readerError(output)) << output;
    EXPECT_NE(parse(output), "error: ") << output;
  }
}

TEST(ScanOutputParserDiscoveryScanTest, DocumentNestedTooDeepIsAnError) {
  EXPECT_EQ(parse(String(std::string(64, '[') + std::string(64, ']'))), std::string(64, '[') + std::string(64, ']'));
  EXPECT_TRUE(parse(String(std::string(65, '[') + std::string(65, ']'))).starts_with("error: "));
  EXPECT_TRUE(parse(String(std::string(1'000'000, '['))).starts_with("error: "));
}

}  // namespace
}  // namespace KX::NMS::Discovery
