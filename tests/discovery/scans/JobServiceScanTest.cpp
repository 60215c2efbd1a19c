// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/JobServiceScan.h"
#include "tests/discovery/scans/ServiceScanFixture.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;

constexpr char HTTP[] = R"({"id":"s","scanType":"service","services":{"http":{"ports":[80]}}})";
constexpr char WHEN_NEEDED[] =
    R"({"id":"s","scanType":"service","onlyWhenNeeded":true,"services":{"http":{"ports":[80]}}})";

using JobServiceScanTest = ServiceScanFixture<JobServiceScan>;

TEST_F(JobServiceScanTest, TheConstructorLogsTheDescription) {
  log_.setVerbosity(2);
  const KXPtr<JobServiceScan> job = makeJob(HTTP, 7);
  const std::string yaml = json(HTTP).toYaml(2, 2).c_str();
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("2 [Job s.7] Created", "2 [Job s.7]   " + yaml));
}

TEST_F(JobServiceScanTest, EveryLineOfTheFileHasAllPairsInTheOrderOfTheDescription) {
  addNode("192.0.2.20");
  addNode("192.0.2.3");
  prepareJob(R"({"services":{"snmp":{"ports":[161]},"http":{"ports":[80,8080]},"sip":{"ports":[5060]},)"
             R"("ping":{"ports":[0]},"https":{"ports":[443]}}})");
  EXPECT_TRUE(needed_);
  EXPECT_EQ(content(),
            "192.0.2.20 snmp:161 http:80 http:8080 sip:5060 ping:0 https:443\n"
            "192.0.2.3 snmp:161 http:80 http:8080 sip:5060 ping:0 https:443\n");
}

TEST_F(JobServiceScanTest, OtherNamesAndServicesWithoutPortsContributeNothing) {
  addNode("a");
  prepareJob(R"({"services":{"ftp":{"ports":[21]},"HTTP":{"ports":[80]},"http":{},"sip":{"ports":[]},)"
             R"("https":{"ports":[443]},"snmp":{"ports":161}}})");
  EXPECT_EQ(content(), "a https:443\n");
}

TEST_F(JobServiceScanTest, PortsAreWrittenAsTheIntegersThatTheyAre) {
  addNode("a");
  prepareJob(R"({"services":{"http":{"ports":[70000,-1,80.0,80.5,"80",null,99999999999]}}})");
  EXPECT_EQ(content(), "a http:70000 http:-1 http:80 http:0 http:0 http:0 http:0\n");
}

TEST_F(JobServiceScanTest, WithoutANodeItIsNotNeededAndWritesNothing) {
  prepareJob(HTTP);
  EXPECT_FALSE(needed_);
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("1 [Job s.0] Preparing..."));
  EXPECT_EQ(folder_.count(), 0U);
}

TEST_F(JobServiceScanTest, OnlyWhenNeededTakesTheNodesThatAreOwedAScan) {
  addNode("a")->setPendingServiceScans(0);
  addNode("b");
  prepareJob(WHEN_NEEDED);
  EXPECT_TRUE(needed_);
  EXPECT_EQ(content(), "b http:80\n");
}

TEST_F(JobServiceScanTest, OnlyWhenNeededWithNothingOwedItIsNotNeeded) {
  addNode("a")->setPendingServiceScans(0);
  prepareJob(WHEN_NEEDED);
  EXPECT_FALSE(needed_);
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("1 [Job s.0] Preparing..."));
  EXPECT_EQ(folder_.count(), 0U);
}

TEST_F(JobServiceScanTest, EveryLineWrittenPaysOffAScanThatIsOwed) {
  const auto owed = addNode("a");
  const auto paid = addNode("b");
  paid->setPendingServiceScans(0);
  prepareJob(HTTP);
  EXPECT_EQ(owed->pendingServiceScans(), Node::INITIAL_SERVICE_SCANS - 1);
  EXPECT_EQ(paid->pendingServiceScans(), 0U);
}

TEST_F(JobServiceScanTest, WithoutAUsableServiceThePreparationFails) {
  addNode("a");
  EXPECT_EQ(reasonOf(R"({"services":{"ftp":{"ports":[21]}}})"), R"(No services to scan for: {"ftp":{"ports":[21]}})");
  EXPECT_EQ(reasonOf(R"({"services":{"http":{"ports":[]}}})"), R"(No services to scan for: {"http":{"ports":[]}})");
  EXPECT_EQ(reasonOf("{}"), "No services to scan for: null");
  EXPECT_EQ(folder_.count(), 0U);
  EXPECT_EQ(repository_.getNodes()[0]->pendingServiceScans(), Node::INITIAL_SERVICE_SCANS);
}

TEST_F(JobServiceScanTest, WhatIsNoRegularFileIsNotWritten) {
  addNode("a");
  const auto path = folder_.fileOf(ID);
  const auto victim = folder_.path() / "victim";
  std::ofstream(victim) << "precious";
  std::filesystem::create_symlink(victim, path);
  EXPECT_EQ(reasonOf(HTTP), "Cannot open servicescan input file: Too many levels of symbolic links");
  EXPECT_EQ(std::filesystem::file_size(victim), 8U);

  std::filesystem::remove(path);
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(reasonOf(HTTP), "Cannot open servicescan input file: No such device or address");

  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
  EXPECT_EQ(reasonOf(HTTP), "Cannot open servicescan input file: Is a directory");

  std::filesystem::remove_all(folder_.path());
  EXPECT_EQ(reasonOf(HTTP), "Cannot open servicescan input file: No such file or directory");
  EXPECT_EQ(repository_.getNodes()[0]->pendingServiceScans(), Node::INITIAL_SERVICE_SCANS);
}

TEST_F(JobServiceScanTest, OnAFullDiskThePreparationFailsAndTheLinesWrittenCount) {
  const auto written = addNode("192.0.2.1");
  const auto failed = addNode("192.0.2.2");
  const LogTrap log;
  {
    const FullDisk full(18);  // a line
    prepareJob(HTTP);
  }
  EXPECT_FALSE(needed_);
  EXPECT_EQ(log.texts.back(), "Preparation failed: Cannot write to servicescan input file: File too large");
  EXPECT_EQ(content(), "192.0.2.1 http:80\n");
  EXPECT_EQ(written->pendingServiceScans(), Node::INITIAL_SERVICE_SCANS - 1);
  EXPECT_EQ(failed->pendingServiceScans(), Node::INITIAL_SERVICE_SCANS);
  EXPECT_EQ(job_->status().state(), State::IDLE);
}

TEST_F(JobServiceScanTest, TheFileIsReadBackForTheLogAtVerbosityTwo) {
  addNode("192.0.2.20");
  addNode("192.0.2.21");
  prepareJob(HTTP);
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("1 [Job s.0] Preparing...", "1 [Job s.0] Writing servicescan input file for 2 nodes:",
                          "1 [Job s.0] Writing 192.0.2.20 http:80", "1 [Job s.0] Writing 192.0.2.21 http:80"));
  log_.setVerbosity(2);
  prepareJob(HTTP);
  EXPECT_TRUE(log_.capture().has(RTD::TRACE_1, "[Job s.0] input> 192.0.2.20 http:80\n192.0.2.21 http:80\n"));
}

TEST_F(JobServiceScanTest, AFileThatCannotBeReadBackFailsThePreparation) {
  addNode("a");
  const LogTrap log("Writing a http:80", [this] { std::filesystem::remove(folder_.fileOf(ID)); });
  prepareJob(HTTP);
  EXPECT_FALSE(needed_);
  EXPECT_EQ(log.texts.back(), "Preparation failed: Cannot read back servicescan input file: No such file or directory");
}

TEST_F(JobServiceScanTest, AJobOfTheSameIdTakesTheFileOverAndAnotherOneHasItsOwn) {
  addNode("a");
  prepareJob(R"({"services":{"http":{"ports":[80,81,82,83]}}})");
  const KXPtr<JobServiceScan> other = makeJob(HTTP, 1);
  other->prepare(needed_);
  prepareJob(HTTP);
  EXPECT_EQ(content(), "a http:80\n");
  EXPECT_EQ(folder_.contentOf("s.1"), "a http:80\n");
  EXPECT_EQ(std::filesystem::status(folder_.fileOf(ID)).permissions() & std::filesystem::perms::others_write,
            std::filesystem::perms::none);
}

TEST_F(JobServiceScanTest, TheWholeRunIsLoggedInOrder) {
  log_.setVerbosity(2);
  addNode("192.0.2.20");
  shell_.on(command()).after(3s).prints(
      R"({"nodes":[{"ipAddress":"192.0.2.20","services":[{"service":"http","port":80,"successful":true},)"
      R"({"service":"snmp","port":161,"successful":false}]}]})");
  prepareJob(HTTP);
  job_->invoke();
  loop_.advance(10s);
  EXPECT_EQ(job_->status().state(), State::SUCCESSFUL);
  EXPECT_THAT(states_, ElementsAre("running", "successful"));
  job_ = nullptr;
  EXPECT_TRUE(equalsGolden(folder_.asOnADevice(log_.takeKindsAndLines()), "logs/service-scan.txt"));
}

TEST_F(JobServiceScanTest, TheServicesFoundAreEnteredWithTheFirstPortAndTheLastModel) {
  const auto node = addNode("a");
  startJob(HTTP);
  shell_.end(command(), XCode(),
             R"({"nodes":[{"ipAddress":"a","services":[)"
             R"({"service":"http","port":80,"successful":true,"model":"M1"},)"
             R"({"service":"http","port":8080,"successful":true,"model":5},)"
             R"({"service":"snmp","port":161,"successful":true,"model":"M2","systemObjectID":"1.3"},)"
             R"({"service":"sip","port":5060,"successful":false,"model":"M3"},)"
             R"({"service":"https","port":70000,"successful":true},{"service":"ping"},7]}]})");
  EXPECT_THAT(
      log_.takeKindsAndLines(),
      ElementsAre("6 [Service scan s.0.all] Scan succeeded", "1 [Job s.0] Scan update",
                  "1 [Job s.0] Discovered services on 1 nodes:", "1 [Job s.0]   http service is available on a:80",
                  "1 [Job s.0]   http service is available on a:8080",
                  "1 [Job s.0]   snmp service is available on a:161", "1 [Job s.0]   https service is available on a:0",
                  "5 [Job s.0] Job succeeded"));
  EXPECT_EQ(node->model(), "M2");
  EXPECT_EQ(node->systemObjectID(), "1.3");
  ASSERT_EQ(node->services().size(), 3U);
  EXPECT_EQ(node->services().find("http")->port, 80);
  EXPECT_EQ(node->services().find("https")->port, 0);
  EXPECT_TRUE(node->hasRecentlyDiscoveredServices());
}

TEST_F(JobServiceScanTest, ANodeThatAnsweredOnNoServiceKeepsWhatItHas) {
  const auto known = addNode("a", {{"sip"_s, 5060}});
  const auto silent = addNode("b");
  known->clearRecentlyDiscoveredServices();
  startJob(HTTP);
  shell_.end(command(), XCode(),
             R"({"nodes":[{"ipAddress":"a","services":[{"service":"http","successful":false}]},)"
             R"({"ipAddress":"b"},{"ipAddress":"unknown","services":[]},{},"x"]})");
  EXPECT_TRUE(log_.capture().has("[Job s.0] Discovered services on 5 nodes:"));
  EXPECT_EQ(known->services().size(), 1U);
  EXPECT_TRUE(silent->services().isEmpty());
  EXPECT_FALSE(known->hasRecentlyDiscoveredServices());
  EXPECT_EQ(repository_.getNodes().size(), 2U);
}

TEST_F(JobServiceScanTest, TheWholeResultIsTheJobs) {
  addNode("a");
  startJob(HTTP);
  shell_.end(command(), XCode(), R"({"more":1})");
  EXPECT_TRUE(log_.capture().has("[Job s.0] Discovered services on 0 nodes:"));
  EXPECT_EQ(job_->status().state(), State::SUCCESSFUL);
  EXPECT_EQ(job_->status().result().toJson(), R"({"more":1})");
}

TEST_F(JobServiceScanTest, AScanThatFailsFailsTheJob) {
  addNode("a");
  startJob(HTTP);
  shell_.end(command(), XCode(), "servicescan: what?");
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("5 [Service scan s.0.all] Network scan failed: Incompatible scan output",
                          "1 [Job s.0] Scan update", "5 [Job s.0] Job failed: Incompatible scan output"));
  EXPECT_THAT(states_, ElementsAre("failed"));

  shell_.on(command()).exits(3);
  prepareJob(HTTP);
  job_->invoke();
  loop_.settle();
  EXPECT_EQ(job_->status().text(), "Exit status 3");
}

TEST_F(JobServiceScanTest, WithoutTheToolTheJobFailsInsideItsInvoke) {
  addNode("a");
  shell_.on(command()).isRefused(XCode::fromErrno(ENOENT));
  prepareJob(HTTP);
  job_->invoke();
  EXPECT_EQ(job_->status().state(), State::FAILED);
  EXPECT_EQ(job_->status().text(), "No such file or directory");
  EXPECT_THAT(states_, ElementsAre("running", "failed"));
}

TEST_F(JobServiceScanTest, PreparingAndInvokingAreRefusedOutsideTheInitialState) {
  addNode("a");
  startJob(HTTP);
  needed_ = true;
  job_->prepare(needed_);
  EXPECT_FALSE(needed_);
  job_->invoke();
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("1 [Job s.0] Preparing...", "4 [Job s.0] Cannot prepare in state running",
                          "1 [Job s.0] Invoking...", "4 [Job s.0] Cannot re-invoke in state running"));
  EXPECT_EQ(shell_.invoked().size(), 1U);
}

TEST_F(JobServiceScanTest, CancelledItsCommandIsKilledAndWhatComesLateIsOnlyLogged) {
  addNode("a");
  startJob(HTTP);
  job_->cancel();
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("1 [Job s.0] Cancelling...", "1 [Job s.0] Cancel running scan scan",
                          "1 [Service scan s.0.all] Cancelling...", "1 [Service scan s.0.all] Cancelled",
                          "1 [Job s.0] Scan update", "1 [Job s.0] Cancelled"));
  loop_.advance(1s);
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("5 [Service scan s.0.all] Network scan failed: Killed by signal 9"));
  EXPECT_TRUE(shell_.running().empty());
  EXPECT_EQ(job_->status().state(), State::CANCELLED);
  EXPECT_THAT(states_, ElementsAre("cancelled"));
  job_->cancel();
  EXPECT_TRUE(log_.takeLines().empty());
}

TEST_F(JobServiceScanTest, OnlyARunningJobIsCancelled) {
  addNode("a");
  prepareJob(HTTP);
  log_.clear();
  job_->cancel();
  EXPECT_TRUE(log_.takeLines().empty());
  EXPECT_EQ(job_->status().state(), State::IDLE);
}

TEST_F(JobServiceScanTest, CancelledInsideItsFirstStatusUpdateNoScanStarts) {
  addNode("a");
  prepareJob(HTTP);
  job_->statusUpdated.connect([this](Property::Value) { job_->cancel(); });
  log_.clear();
  job_->invoke();
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("1 [Job s.0] Invoking...", "1 [Job s.0] Cancelling...", "1 [Job s.0] Cancelled",
                          "5 [Job s.0] Job failed: Cannot invoke next scan"));
  EXPECT_TRUE(shell_.invoked().empty());
  EXPECT_EQ(job_->status().state(), State::CANCELLED);
}

TEST_F(JobServiceScanTest, DestroyedWhileRunningItKillsItsCommand) {
  log_.setVerbosity(2);
  addNode("a");
  startJob(HTTP);
  job_ = nullptr;
  const auto lines = log_.takeLines();
  EXPECT_EQ(lines.front(), "[Job s.0] Destroying...");
  EXPECT_THAT(lines, testing::Contains("[Job s.0] Cancel running scan scan"));
  EXPECT_THAT(lines, testing::Contains("[Job s.0] Destroyed"));
  loop_.advance(1s);
  EXPECT_TRUE(shell_.running().empty());
}

TEST_F(JobServiceScanTest, ItMayBeReleasedInsideAnyOfItsStatusUpdates) {
  addNode("a");
  for (const char* last : {"running", "successful", "cancelled"}) {
    shell_.on(command()).after(1s).prints("{}");
    prepareJob(HTTP);
    job_->statusUpdated.connect([this, last](Property::Value value) {
      if (std::as_const(value)["status"].toString() == last) job_ = nullptr;
    });
    job_->invoke();
    if (job_ != nullptr && std::string(last) == "cancelled") job_->cancel();
    loop_.advance(2s);
    EXPECT_EQ(job_, nullptr) << last;
    EXPECT_TRUE(shell_.running().empty()) << last;
  }
}

TEST_F(JobServiceScanTest, ItShowsWhatEveryJobShows) {
  addNode("a");
  prepareJob(R"({"id":"s","scanType":"service","status":"?"})");
  EXPECT_EQ(job_->toPropertyValue().toJson(), R"({"id":"s","scanType":"service","status":"idle"})");
  EXPECT_THAT(rowsOf(*job_, {}, "Running "), ElementsAre("0,0 Running Job Instance: s.0", "1,0 Status: idle"));
}

}  // namespace
}  // namespace KX::NMS::Discovery
