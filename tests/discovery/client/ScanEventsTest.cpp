// SPDX-License-Identifier: Apache-2.0
// What the server hears of service scans, status scans and sequences.
#include <gmock/gmock.h>

#include "tests/discovery/client/Conversation.h"

namespace KX::NMS::Discovery {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr auto SCAN_TIME = 5s;
constexpr char STATUS_PLAN[] =
    R"([{"id":"st","scanType":"status","servicePriorities":["http"],"schedule":{"cron":"* * * * *","firstRun":"now"}}])";

class ScanEventsTest : public testing::Test {
 protected:
  ScanEventsTest() {
    conversation_.sendToDevice(
        R"({"kind":"request","service":"discovery","name":"syncNodes","id":1,"nodes":[{"ipAddress":"10.1.0.5",)"
        R"("status":"up","statusChangeDate":"2025-12-31T00:00:00Z","services":{"http":{"port":80}}}]})");
    conversation_.take();
  }
  void plan(const std::string& descriptions) {
    conversation_.sendToDevice(
        R"({"kind":"request","service":"discovery","name":"updateJobDescriptions","id":2,"jobDescriptions":)" +
        descriptions + "}");
    EXPECT_EQ(conversation_.take().size(), 1U);
  }
  // What the scans that start from now on find.
  void letScansAnswer(bool isUp) {
    conversation_.device.shell.onPrefix("/usr/bin/servicescan")
        .after(SCAN_TIME)
        .prints(String::format(R"({"nodes":[{"ipAddress":"10.1.0.5","services":[{"service":"http","port":80,)"
                               R"("successful":%s}]}]})",
                               isUp ? "true" : "false"));
  }
  void advance(std::chrono::milliseconds duration) { conversation_.device.loop.advance(duration); }
  // To the middle of the first scan of a job that starts with the scheduler's next tick.
  void advanceIntoFirstScan() { advance(15s + SCAN_TIME / 2); }
  // "job status, address: status" for every node of every event since the last call; "-" where there are no nodes.
  std::vector<std::string> takeEvents() {
    std::vector<std::string> seen;
    for (const std::string& message : conversation_.take()) {
      const Property::Value event = json(message);
      const std::string job = std::string(event["jobStatus"]["id"].toString().c_str()) + " " +
                              event["jobStatus"]["status"].toString().c_str() + ", ";
      const Property::Value nodes = event["nodes"];
      if (nodes.isEmpty()) seen.push_back(job + "-");
      for (const Property::Value& node : nodes.elements()) {
        seen.push_back(job + node["ipAddress"].toString().c_str() + ": " + node["status"].toString().c_str());
      }
    }
    return seen;
  }

  Conversation conversation_;
};

TEST_F(ScanEventsTest, AStatusScanThatChangesNothingSendsNoEvent) {
  letScansAnswer(true);
  plan(STATUS_PLAN);
  advance(10min);
  EXPECT_GE(conversation_.device.shell.invoked().size(), 9U);
  EXPECT_THAT(takeEvents(), IsEmpty());
}

TEST_F(ScanEventsTest, ANodeThatAnswersTheSecondScanIsNeverReportedDown) {
  letScansAnswer(false);
  plan(STATUS_PLAN);
  advanceIntoFirstScan();
  letScansAnswer(true);
  advance(10min);
  // That it was down for a moment has set the mark of a change: the one event says that it is up.
  EXPECT_THAT(takeEvents(), ElementsAre("st successful, 10.1.0.5: up"));
}

TEST_F(ScanEventsTest, ANodeThatIsDownIsReportedOnceAndUpOnce) {
  letScansAnswer(false);
  plan(STATUS_PLAN);
  advanceIntoFirstScan();
  advance(SCAN_TIME);
  EXPECT_EQ(conversation_.device.shell.invoked().size(), 2U);
  EXPECT_THAT(takeEvents(), IsEmpty()) << "the second scan runs";
  advance(SCAN_TIME);
  EXPECT_THAT(takeEvents(), ElementsAre("st successful, 10.1.0.5: down"));
  advance(10min);
  EXPECT_THAT(takeEvents(), IsEmpty()) << "it is down still";
  letScansAnswer(true);
  advance(10min);
  EXPECT_THAT(takeEvents(), ElementsAre("st successful, 10.1.0.5: up"));
}

TEST_F(ScanEventsTest, AStatusScanThatFailsOrIsCancelledSendsNoEvent) {
  conversation_.device.shell.onPrefix("/usr/bin/servicescan").after(SCAN_TIME).exits(1);
  plan(STATUS_PLAN);
  advanceIntoFirstScan();
  advance(SCAN_TIME);
  EXPECT_THAT(takeEvents(), IsEmpty());
  letScansAnswer(false);
  advance(1min);
  ASSERT_FALSE(conversation_.device.shell.running().empty());
  plan("[]");
  advance(1s);
  EXPECT_TRUE(conversation_.device.shell.running().empty());
  EXPECT_THAT(takeEvents(), IsEmpty());
}

TEST_F(ScanEventsTest, AServiceScanIsReportedWithTheServicesThatItFound) {
  conversation_.device.shell.onPrefix("/usr/bin/servicescan")
      .prints(R"({"nodes":[{"ipAddress":"10.1.0.5","services":[{"service":"snmp","port":161,"successful":true,)"
              R"("systemObjectID":"1.3.6"}]}]})");
  plan(R"([{"id":"se","scanType":"service","services":{"snmp":{"ports":[161]}},"schedule":{"firstRun":"now"}}])");
  advance(30s);
  const auto messages = conversation_.take();
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_THAT(messages[0], HasSubstr(R"("status":"running"})"));
  EXPECT_THAT(messages[0], Not(HasSubstr(R"("nodes")")));
  EXPECT_THAT(messages[1], HasSubstr(R"("status":"successful"},"nodes":[{"ipAddress":"10.1.0.5",)"
                                     R"("systemObjectID":"1.3.6","status":"up",)"
                                     R"("statusChangeDate":"2025-12-31T00:00:00.000Z",)"
                                     R"("services":{"snmp":{"port":161},"http":{"port":80}}}]})"));
}

TEST_F(ScanEventsTest, AServiceScanThatFindsNothingNewHasNoNodes) {
  letScansAnswer(true);
  plan(R"([{"id":"se","scanType":"service","services":{"http":{"ports":[80]}},"schedule":{"firstRun":"now"}}])");
  advance(30s);
  EXPECT_THAT(takeEvents(), ElementsAre("se running, -", "se successful, -"));
}

TEST_F(ScanEventsTest, AServiceScanThatFailsIsReportedWithTheReason) {
  plan(R"([{"id":"se","scanType":"service","services":{"http":{"ports":[80]}},"schedule":{"firstRun":"now"}}])");
  advance(30s);
  const auto messages = conversation_.take();
  ASSERT_EQ(messages.size(), 2U);
  EXPECT_THAT(messages[1], HasSubstr(R"("status":"failed","reason":"No such file or directory"}})"));
}

TEST_F(ScanEventsTest, ASequenceIsReportedAsOneJob) {
  auto& shell = conversation_.device.shell;
  for (const char* device : {"eth1", "eth2"}) {
    shell.on(FakeDevice::arpScanOf(device)).prints("");
    shell.on(FakeDevice::discoveryScanOf(device)).prints("{}");
  }
  shell.on(FakeDevice::arpScanOf("eth1")).prints("10.1.0.6\t02:00:5e:00:00:06\n");
  letScansAnswer(false);
  plan(R"([{"id":"q","scanType":"sequence","schedule":{"firstRun":"now"},"jobs":[{"scanType":"node"},)"
       R"({"scanType":"service","services":{"http":{"ports":[80]}}},)"
       R"({"scanType":"status","servicePriorities":["http"]}]}])");
  advance(60s);
  EXPECT_THAT(takeEvents(),
              ElementsAre("q running, -", "q successful, 10.1.0.5: down", "q successful, 10.1.0.6: unknown"));
  EXPECT_EQ(conversation_.device.inputs.contentOf("q.0.1"), "10.1.0.5 http:80\n10.1.0.6 http:80\n");
  EXPECT_EQ(conversation_.device.inputs.contentOf("q.0.2"), "10.1.0.5 http:80\n");
}

TEST_F(ScanEventsTest, YearsOfJobsDoNotFillTheFolderOfInputFiles) {
  letScansAnswer(true);
  plan(STATUS_PLAN);
  advance(24h);
  EXPECT_GT(conversation_.device.shell.invoked().size(), 1000U);
  EXPECT_EQ(conversation_.device.inputs.count(), 16U);
}

}  // namespace
}  // namespace KX::NMS::Discovery
