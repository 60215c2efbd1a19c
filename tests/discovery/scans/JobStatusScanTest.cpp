// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/JobStatusScan.h"
#include "tests/discovery/scans/ServiceScanFixture.h"

namespace KX::NMS::Discovery {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr char BY_PING[] = R"({"id":"s","scanType":"status","servicePriorities":["ping","snmp","http"]})";
constexpr char A_DOWN[] = R"({"nodes":[{"ipAddress":"a","services":[{"service":"http","successful":false}]}]})";
constexpr char A_UP[] = R"({"nodes":[{"ipAddress":"a","services":[{"service":"http","successful":true}]}]})";

class JobStatusScanTest : public ServiceScanFixture<JobStatusScan> {
 protected:
  // A node at "a" with the given status, and a running job.
  KXLWPtr<Node> startOn(NodeStatus status) {
    KXLWPtr<Node> node = addNode("a", {{"http"_s, 80}});
    static_cast<void>(repository_.setStatus("a", status, nullptr, nullptr));
    startJob(BY_PING);
    return node;
  }
  void answer(const char* output) { ASSERT_TRUE(shell_.end(command(), XCode(), output)); }
};

TEST_F(JobStatusScanTest, TheConstructorLogsTheDescription) {
  log_.setVerbosity(2);
  const KXPtr<JobStatusScan> job = makeJob(BY_PING, 7);
  const std::string yaml = json(BY_PING).toYaml(2, 2).c_str();
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("2 [Job s.7] Created", "2 [Job s.7]   " + yaml));
}

TEST_F(JobStatusScanTest, EveryNodeIsAskedByItsBestService) {
  addNode("192.0.2.1", {{"http"_s, 8080}, {"snmp"_s, 161}});
  addNode("192.0.2.2", {{"http"_s, 80}, {"sip"_s, 5060}});
  addNode("192.0.2.3", {{"ping"_s, 0}, {"http"_s, 80}});
  prepareJob(BY_PING);
  EXPECT_TRUE(needed_);
  EXPECT_EQ(content(), "192.0.2.1 snmp:161\n192.0.2.2 http:80\n192.0.2.3 ping:0\n");
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("1 [Job s.0] Preparing...", "1 [Job s.0] Writing servicescan input file:"));
}

TEST_F(JobStatusScanTest, NamesAreComparedByteForByteAndWhatIsNoStringIsEmpty) {
  addNode("a", {{"http"_s, 80}, {"https"_s, 443}});
  addNode("b", {{""_s, 7}});
  prepareJob(R"({"servicePriorities":["HTTP","http ",5,"htt","https","http"]})");
  EXPECT_EQ(content(), "a https:443\nb :7\n");
}

// What the server calls a node or a service stays within one word of one line.
TEST_F(JobStatusScanTest, NoTextAddsALineOrAWord) {
  addNode("10.0.0.1\n192.0.2.66 http:80\n#", {{"http"_s, 80}});
  addNode("10.0.0.2", {{"ping:0\n192.0.2.67 http"_s, 80}});
  repository_.addManualNode(String(std::string_view("10.0.0.3\0\x7f\t", 11)), nullptr);
  KXStringHashTable<Service> services;
  services.set("http"_s, {"http"_s, 80});
  static_cast<void>(
      repository_.setDiscoveredServices(String(std::string_view("10.0.0.3\0\x7f\t", 11)), services, "", ""));
  prepareJob(R"({"servicePriorities":["http","ping:0\n192.0.2.67 http"]})");
  EXPECT_EQ(content(),
            "10.0.0.1?192.0.2.66?http:80?# http:80\n"
            "10.0.0.2 ping:0?192.0.2.67?http:80\n"
            "10.0.0.3??? http:80\n");
  EXPECT_NE(repository_.getNodeByIpAddress("10.0.0.1\n192.0.2.66 http:80\n#"), nullptr);
}

TEST_F(JobStatusScanTest, WithoutAPreferredServiceThereIsNoLineButAScan) {
  addNode("a", {{"sip"_s, 5060}});
  for (const char* description : {BY_PING, "{}", R"({"servicePriorities":"sip"})"}) {
    prepareJob(description);
    EXPECT_TRUE(needed_) << description;
    EXPECT_TRUE(folder_.has(ID)) << description;
    EXPECT_EQ(content(), "") << description;
  }
  job_->invoke();
  answer(R"({"nodes":[]})");
  EXPECT_EQ(job_->status().state(), State::SUCCESSFUL);
}

TEST_F(JobStatusScanTest, WithoutANodeThatHasServicesItIsNotNeeded) {
  addNode("a");
  prepareJob(BY_PING);
  EXPECT_FALSE(needed_);
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("1 [Job s.0] Preparing..."));
  EXPECT_EQ(folder_.count(), 0U);
}

TEST_F(JobStatusScanTest, ItLeavesTheServiceScansOwedAlone) {
  const auto node = addNode("a", {{"http"_s, 80}});
  prepareJob(BY_PING);
  EXPECT_EQ(node->pendingServiceScans(), Node::INITIAL_SERVICE_SCANS);
}

TEST_F(JobStatusScanTest, WhatIsNoRegularFileIsNotWritten) {
  addNode("a", {{"http"_s, 80}});
  std::filesystem::create_symlink(folder_.path() / "victim", folder_.fileOf(ID));
  EXPECT_EQ(reasonOf(BY_PING), "Cannot open servicescan input file: Too many levels of symbolic links");
  EXPECT_FALSE(std::filesystem::exists(folder_.path() / "victim"));
  std::filesystem::remove_all(folder_.path());
  EXPECT_EQ(reasonOf(BY_PING), "Cannot open servicescan input file: No such file or directory");
}

TEST_F(JobStatusScanTest, AFileThatIsNotItsOwnAloneIsNotWritten) {
  addNode("a", {{"http"_s, 80}});
  const auto victim = folder_.path() / "victim";
  std::ofstream(victim) << "precious";
  std::filesystem::create_hard_link(victim, folder_.fileOf(ID));
  EXPECT_EQ(reasonOf(BY_PING), "Cannot open servicescan input file: File with further names");
  EXPECT_EQ(std::filesystem::file_size(victim), 8U);
  std::filesystem::remove(folder_.fileOf(ID));
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  ASSERT_EQ(chown(victim.c_str(), 65534, static_cast<gid_t>(-1)), 0);
  std::filesystem::rename(victim, folder_.fileOf(ID));
  EXPECT_EQ(reasonOf(BY_PING), "Cannot open servicescan input file: File of another user");
  EXPECT_EQ(content(), "precious");
}

TEST_F(JobStatusScanTest, OnAFullDiskThePreparationFails) {
  addNode("192.0.2.1", {{"http"_s, 80}});
  addNode("192.0.2.2", {{"http"_s, 80}});
  addNode("192.0.2.3", {{"http"_s, 80}});
  const LogTrap log;
  {
    const FullDisk full(18);  // a line
    prepareJob(BY_PING);
  }
  EXPECT_FALSE(needed_);
  EXPECT_EQ(log.texts.back(), "Preparation failed: Cannot write to servicescan input file: File too large");
  EXPECT_EQ(content(), "192.0.2.1 http:80\n");
}

TEST_F(JobStatusScanTest, TheFileIsReadBackForTheLogAtVerbosityTwo) {
  addNode("a", {{"http"_s, 80}});
  log_.setVerbosity(2);
  prepareJob(BY_PING);
  EXPECT_TRUE(log_.capture().has(RTD::TRACE_1, "[Job s.0] input> a http:80\n"));
}

TEST_F(JobStatusScanTest, AFileThatCannotBeReadBackDoesNotMatter) {
  addNode("a", {{"http"_s, 80}});
  const LogTrap log;
  {
    const Unreadable unreadable(folder_.path());
    prepareJob(BY_PING);
  }
  EXPECT_TRUE(needed_);
  EXPECT_EQ(log.texts.back(), "Writing servicescan input file:");
  EXPECT_EQ(std::filesystem::status(folder_.fileOf(ID)).permissions(), std::filesystem::perms::none);
}

TEST_F(JobStatusScanTest, TheWholeRunWithASecondScanIsLoggedInOrder) {
  log_.setVerbosity(2);
  addNode("192.0.2.1", {{"http"_s, 80}});
  addNode("192.0.2.2", {{"ping"_s, 0}});
  prepareJob(BY_PING);
  job_->invoke();
  answer(R"({"nodes":[{"ipAddress":"192.0.2.1","services":[{"service":"http","port":80,"successful":false}]},)"
         R"({"ipAddress":"192.0.2.2","services":[{"service":"ping","port":0,"successful":true}]},)"
         R"({"ipAddress":"192.0.2.9"}]})");
  EXPECT_EQ(content(), "192.0.2.1 http:80\n");
  answer(R"({"nodes":[{"ipAddress":"192.0.2.1","services":[{"service":"http","port":80,"successful":true}]}]})");
  EXPECT_THAT(states_, ElementsAre("running", "successful"));
  job_ = nullptr;
  EXPECT_TRUE(equalsGolden(folder_.asOnADevice(log_.takeKindsAndLines()), "logs/status-scan.txt"));
}

TEST_F(JobStatusScanTest, ANodeThatAnswersTheSecondScanIsUp) {
  const auto node = startOn(NodeStatus::UP);
  answer(A_DOWN);
  EXPECT_EQ(node->status(), NodeStatus::DOWN);
  EXPECT_EQ(job_->status().state(), State::RUNNING);
  EXPECT_TRUE(states_.empty());
  answer(A_UP);
  EXPECT_EQ(node->status(), NodeStatus::UP);
  EXPECT_THAT(states_, ElementsAre("successful"));
  EXPECT_EQ(job_->status().result().toJson(), A_UP) << "the second scan's";
  EXPECT_EQ(shell_.invoked().size(), 2U);
}

TEST_F(JobStatusScanTest, ANodeThatFailsTwiceIsDownAndThereIsNoThirdScan) {
  const auto node = startOn(NodeStatus::UP);
  answer(A_DOWN);
  answer(A_DOWN);
  EXPECT_EQ(node->status(), NodeStatus::DOWN);
  EXPECT_THAT(states_, ElementsAre("successful"));
  EXPECT_EQ(shell_.invoked().size(), 2U);
}

TEST_F(JobStatusScanTest, ANodeOfUnknownStatusThatFailsIsTestedAgain) {
  startOn(NodeStatus::UNKNOWN);
  answer(A_DOWN);
  EXPECT_EQ(shell_.running().size(), 1U);
}

TEST_F(JobStatusScanTest, ANodeThatWasDownAlreadyIsNotTestedAgain) {
  startOn(NodeStatus::DOWN);
  log_.clear();
  answer(A_DOWN);
  EXPECT_THAT(states_, ElementsAre("successful"));
  EXPECT_EQ(job_->status().result().toJson(), A_DOWN) << "the first scan's";
  EXPECT_THAT(log_.takeLines(), Not(Contains("[Job s.0] Invoking second scan:")));
  EXPECT_EQ(shell_.invoked().size(), 1U);
}

TEST_F(JobStatusScanTest, AMissingSuccessIsNoneAndUnknownNodesAreSkipped) {
  const auto node = startOn(NodeStatus::DOWN);
  answer(R"({"nodes":[{"ipAddress":"x","services":[{"successful":true}]},{},{"ipAddress":"a","services":[{},)"
         R"({"service":"http","successful":"true"}]},{"ipAddress":"a"}]})");
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("6 [Status scan s.0.first] Scan succeeded", "1 [Job s.0] First scan update",
                          "1 [Job s.0] Checked the status of 4 nodes:", "4 [Job s.0] Node x not found",
                          "4 [Job s.0] Node  not found", "1 [Job s.0]   a is down (service )",
                          "1 [Job s.0]   a is down (service http)", "5 [Job s.0] Job succeeded"));
  EXPECT_EQ(node->status(), NodeStatus::DOWN);
}

TEST_F(JobStatusScanTest, WhenTheFileForTheSecondScanCannotBeWrittenTheFirstAnswerStands) {
  const auto node = startOn(NodeStatus::UP);
  std::filesystem::remove(folder_.fileOf(ID));
  std::filesystem::create_directory(folder_.fileOf(ID));
  answer(A_DOWN);
  EXPECT_TRUE(log_.capture().has(RTD::TRACE_1,
                                 "[Job s.0] Preparation failed: Cannot open servicescan input file: Is a directory"));
  EXPECT_EQ(node->status(), NodeStatus::DOWN);
  EXPECT_EQ(job_->status().state(), State::SUCCESSFUL);
  EXPECT_EQ(job_->status().result().toJson(), A_DOWN);
  EXPECT_EQ(shell_.invoked().size(), 1U);
}

TEST_F(JobStatusScanTest, AFirstScanThatFailsFailsTheJob) {
  const auto node = startOn(NodeStatus::UP);
  shell_.end(command(), XCode::error("Exit status 3"));
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("5 [Status scan s.0.first] Network scan failed: Exit status 3",
                          "1 [Job s.0] First scan update", "5 [Job s.0] Job failed: Exit status 3"));
  EXPECT_THAT(states_, ElementsAre("failed"));
  EXPECT_EQ(node->status(), NodeStatus::UP);
}

TEST_F(JobStatusScanTest, ASecondScanThatFailsFailsTheJob) {
  startOn(NodeStatus::UP);
  answer(A_DOWN);
  log_.clear();
  answer("?");
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("5 [Status scan s.0.second] Network scan failed: Incompatible scan output",
                          "1 [Job s.0] Second scan update", "5 [Job s.0] Job failed: Incompatible scan output"));
  EXPECT_EQ(job_->status().text(), "Incompatible scan output");
}

TEST_F(JobStatusScanTest, WithoutTheToolTheJobFailsInsideItsInvoke) {
  addNode("a", {{"http"_s, 80}});
  shell_.on(command()).isRefused(XCode::fromErrno(ENOENT));
  prepareJob(BY_PING);
  job_->invoke();
  EXPECT_EQ(job_->status().text(), "No such file or directory");
  EXPECT_THAT(states_, ElementsAre("running", "failed"));
}

TEST_F(JobStatusScanTest, PreparingAndInvokingAreRefusedOutsideTheInitialState) {
  startOn(NodeStatus::UP);
  needed_ = true;
  job_->prepare(needed_);
  EXPECT_FALSE(needed_);
  job_->invoke();
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("1 [Job s.0] Preparing...", "4 [Job s.0] Cannot prepare in state running",
                          "1 [Job s.0] Invoking...", "4 [Job s.0] Cannot re-invoke in state running"));
}

TEST_F(JobStatusScanTest, CancelledDuringTheFirstScan) {
  startOn(NodeStatus::UP);
  job_->cancel();
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("1 [Job s.0] Cancelling...", "1 [Job s.0] Cancel running first scan",
                          "1 [Status scan s.0.first] Cancelling...", "1 [Status scan s.0.first] Cancelled",
                          "1 [Job s.0] First scan update", "1 [Job s.0] Cancelled"));
  loop_.advance(1s);
  EXPECT_THAT(states_, ElementsAre("cancelled"));
  EXPECT_TRUE(shell_.running().empty());
}

TEST_F(JobStatusScanTest, CancelledDuringTheSecondScanBothAreNamed) {
  startOn(NodeStatus::UP);
  answer(A_DOWN);
  log_.clear();
  job_->cancel();
  EXPECT_THAT(
      log_.takeKindsAndLines(),
      ElementsAre("1 [Job s.0] Cancelling...", "1 [Job s.0] Cancel running first scan",
                  "1 [Job s.0] Cancel running second scan", "1 [Status scan s.0.second] Cancelling...",
                  "1 [Status scan s.0.second] Cancelled", "1 [Job s.0] Second scan update", "1 [Job s.0] Cancelled"));
  loop_.advance(1s);
  EXPECT_THAT(states_, ElementsAre("cancelled"));
}

TEST_F(JobStatusScanTest, CancelledInsideItsFirstStatusUpdateNoScanStarts) {
  addNode("a", {{"http"_s, 80}});
  prepareJob(BY_PING);
  job_->statusUpdated.connect([this](Property::Value) { job_->cancel(); });
  log_.clear();
  job_->invoke();
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("1 [Job s.0] Invoking...", "1 [Job s.0] Cancelling...", "1 [Job s.0] Cancelled",
                          "5 [Job s.0] Job failed: Cannot invoke first scan"));
  EXPECT_TRUE(shell_.invoked().empty());
}

TEST_F(JobStatusScanTest, CancelledWhileItWritesForTheSecondScanNoneStarts) {
  startOn(NodeStatus::UP);
  const LogTrap trap("Writing servicescan input file:", [this] { job_->cancel(); });
  answer(A_DOWN);
  EXPECT_EQ(trap.texts.back(), "Job failed: Cannot invoke second scan");
  EXPECT_EQ(job_->status().state(), State::CANCELLED);
  EXPECT_EQ(shell_.invoked().size(), 1U);
}

TEST_F(JobStatusScanTest, DestroyedDuringTheSecondScanItKillsItsCommand) {
  startOn(NodeStatus::UP);
  answer(A_DOWN);
  job_ = nullptr;
  loop_.advance(1s);
  EXPECT_TRUE(shell_.running().empty());
}

TEST_F(JobStatusScanTest, ItMayBeReleasedInsideAnyOfItsStatusUpdates) {
  addNode("a", {{"http"_s, 80}});
  for (const char* last : {"running", "successful", "cancelled"}) {
    prepareJob(BY_PING);
    job_->statusUpdated.connect([this, last](Property::Value value) {
      if (std::as_const(value)["status"].toString() == last) job_ = nullptr;
    });
    job_->invoke();
    if (job_ != nullptr && std::string(last) == "cancelled") job_->cancel();
    if (job_ != nullptr) answer(A_UP);
    loop_.advance(1s);
    EXPECT_EQ(job_, nullptr) << last;
    EXPECT_TRUE(shell_.running().empty()) << last;
  }
}

TEST_F(JobStatusScanTest, ItShowsWhatEveryJobShows) {
  addNode("a", {{"http"_s, 80}});
  prepareJob(R"({"id":"s","scanType":"status","status":"?"})");
  EXPECT_EQ(job_->toPropertyValue().toJson(), R"({"id":"s","scanType":"status","status":"idle"})");
  EXPECT_THAT(rowsOf(*job_), ElementsAre("0,0 Job Instance: s.0", "1,0 Status: idle"));
}

}  // namespace
}  // namespace KX::NMS::Discovery
