// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <malloc.h>
#include <pthread.h>

#include "discovery/common/Limits.h"
#include "discovery/nodescan/JobSequence.h"
#include "tests/discovery/common/Golden.h"
#include "tests/discovery/common/Rows.h"
#include "tests/discovery/nodescan/FakeDevice.h"

namespace KX::NMS::Discovery {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

constexpr char TWO_NODES_AND_SERVICE[] = R"({"jobs":[{"scanType":"node","repeat":2},)"
                                         R"({"scanType":"service","services":{"http":{"ports":[80]}}}]})";

class JobSequenceTest : public testing::Test {
 protected:
  // One LAN, whose host is found by either scan after a second.
  JobSequenceTest() {
    device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
    device_.shell.on(FakeDevice::arpScanOf("eth1")).after(1s).prints("10.1.0.5\t02:00:5e:00:00:05\n");
    device_.shell.on(FakeDevice::discoveryScanOf("eth1")).after(1s).prints("{}");
    device_.shell.onPrefix("/usr/bin/servicescan")
        .after(1s)
        .prints(R"({"nodes":[{"ipAddress":"10.1.0.5",)"
                R"("services":[{"service":"http","port":80,"successful":true}]}]})");
  }
  void prepareJob(const char* description) {
    job_ = KXPtr<JobSequence>(new JobSequence(device_.loop, device_.repository, "q"_s, 0, json(description)));
    job_->statusUpdated.connect(Function<void(Property::Value)>(
        [this](Property::Value value) { states_.emplace_back(std::as_const(value)["status"].toString().c_str()); }));
    job_->prepare(needed_);
  }
  void startJob(const char* description) {
    prepareJob(description);
    ASSERT_TRUE(needed_);
    job_->invoke();
  }
  // The own lines of the sequence since the last call, without the prefix.
  std::vector<std::string> takeOwnLines() {
    const std::string prefix = "[Job q.0] ";
    std::vector<std::string> own;
    for (const std::string& line : device_.log.takeLines()) {
      if (line.starts_with(prefix)) own.push_back(line.substr(prefix.size()));
    }
    return own;
  }
  // The ids of the sub-jobs, the active one marked.
  std::vector<std::string> subJobs() const {
    std::vector<std::string> ids;
    for (const std::string& row : rowsOf(*job_, {.maxLevel = 1})) {
      if (row.starts_with("1,1 ")) ids.push_back(row.substr(4));
    }
    return ids;
  }

  FakeDevice device_;
  std::vector<std::string> states_;
  bool needed_ = false;
  KXPtr<JobSequence> job_;  // goes first, since it publishes its cancellation
};

TEST_F(JobSequenceTest, TheConstructorLogsTheDescription) {
  device_.log.setVerbosity(2);
  const char* description = R"({"jobs":[{"scanType":"none"}]})";
  prepareJob(description);
  const std::string yaml = json(description).toYaml(2, 2).c_str();
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("2 [Job q.0] Created", "2 [Job q.0]   " + yaml, "1 [Job q.0] Preparing...",
                          "2 [Job q.0]   " + yaml, "1 [Job q.0] Determining sub-jobs..."));
}

TEST_F(JobSequenceTest, WithoutASubJobItIsNotNeeded) {
  for (const char* description :
       {"{}", R"({"jobs":[]})", R"({"jobs":{}})", R"({"jobs":[{},{"scanType":"Node"},{"scanType":5},7]})",
        R"({"jobs":[{"scanType":"node","repeat":0}]})", R"({"jobs":[{"scanType":"x","repeat":4294967295}]})"}) {
    needed_ = true;
    prepareJob(description);
    EXPECT_FALSE(needed_) << description;
    EXPECT_EQ(job_->toPropertyValue()["jobs"].toJson(), "[]") << description;
  }
}

TEST_F(JobSequenceTest, TheSubJobsAreNumberedWithoutGaps) {
  prepareJob(R"({"jobs":[{"scanType":"node","repeat":2},{"scanType":"?","repeat":3},{"scanType":"service"},)"
             R"({"scanType":"status","repeat":0},{"scanType":"status","repeat":-1},{"scanType":"sequence"}]})");
  EXPECT_THAT(subJobs(), ElementsAre("Active Job Instance: q.0.0", "Job Instance: q.0.1", "Job Instance: q.0.2",
                                     "Job Instance: q.0.3", "Job Instance: q.0.4"));
}

// Lines of level 2 tell when a job is made; here they are asked for after the sequence was prepared.
TEST_F(JobSequenceTest, ASubJobIsMadeWhenItsTurnComes) {
  prepareJob(TWO_NODES_AND_SERVICE);
  device_.log.setVerbosity(2);
  device_.log.clear();
  job_->invoke();
  EXPECT_THAT(device_.log.takeLines(), AllOf(Contains("[Job q.0.0] Created"), Not(Contains("[Job q.0.1] Created"))));
  device_.loop.advance(3s);
  EXPECT_THAT(device_.log.takeLines(), AllOf(Contains("[Job q.0.1] Created"), Not(Contains("[Job q.0.2] Created"))));
}

// Heap bytes; 0 where the heap is not the C library's.
std::size_t heapBytes() { return mallinfo2().uordblks; }

TEST_F(JobSequenceTest, ThousandsOfSubJobsWithRulesTakeLittleMemory) {
  prepareJob("{}");
  const std::size_t before = heapBytes();
  prepareJob(R"({"jobs":[{"scanType":"node","repeat":9999,"interfaces":[{"regex":"\\pL{5}"},{"regex":"\\pN{5}"}]}]})");
  EXPECT_TRUE(needed_);
  EXPECT_LT(heapBytes(), before + (std::size_t{1} << 20U));
  EXPECT_EQ(job_->toPropertyValue()["jobs"].size(), 9999U);
  EXPECT_EQ(job_->toPropertyValue()["jobs"][9998].toJson(),
            R"({"scanType":"node","repeat":9999,"interfaces":[{"regex":"\\pL{5}"},{"regex":"\\pN{5}"}],)"
            R"("status":"idle","scans":[]})");
  EXPECT_LT(heapBytes(), before + (std::size_t{1} << 20U));
}

TEST_F(JobSequenceTest, TheSubJobsRunOneAfterAnother) {
  startJob(TWO_NODES_AND_SERVICE);
  device_.loop.advance(10s);
  EXPECT_THAT(
      takeOwnLines(),
      ElementsAre("Preparing...", "Determining sub-jobs...", "Invoking...", "  3 sub-jobs found", "Preparing sub-job 1",
                  "Invoking sub-job 1", "Sub-job 1 update", "Sub-job 1 update", "Preparing sub-job 2",
                  "Invoking sub-job 2", "Sub-job 2 update", "Sub-job 2 update", "Preparing sub-job 3",
                  "Invoking sub-job 3", "Sub-job 3 update", "Sub-job 3 update", "Job succeeded"));
  EXPECT_THAT(states_, ElementsAre("running", "successful"));
  EXPECT_THAT(device_.shell.invoked(), ElementsAre(FakeDevice::arpScanOf("eth1"), FakeDevice::discoveryScanOf("eth1"),
                                                   FakeDevice::arpScanOf("eth1"), FakeDevice::discoveryScanOf("eth1"),
                                                   device_.inputs.commandOf("q.0.2")));
}

TEST_F(JobSequenceTest, ASubJobSeesWhatTheOnesBeforeItHaveFound) {
  startJob(R"({"jobs":[{"scanType":"node"},{"scanType":"service","services":{"http":{"ports":[80]}}},)"
           R"({"scanType":"status","servicePriorities":["http"]}]})");
  device_.loop.advance(10s);
  EXPECT_EQ(device_.inputs.contentOf("q.0.1"), "10.1.0.5 http:80\n");
  EXPECT_EQ(device_.inputs.contentOf("q.0.2"), "10.1.0.5 http:80\n");
  ASSERT_EQ(device_.repository.getNodes().size(), 1U);
  EXPECT_EQ(device_.repository.getNodes()[0]->status(), NodeStatus::UP);
}

TEST_F(JobSequenceTest, TheWholeRunIsLoggedInOrder) {
  device_.log.setVerbosity(2);
  startJob(R"({"jobs":[{"scanType":"status"},{"scanType":"sequence","jobs":[{"scanType":"node"},)"
           R"({"scanType":"service","onlyWhenNeeded":true,"services":{"http":{"ports":[80]}}}]},)"
           R"({"scanType":"status","servicePriorities":["http"]}]})");
  device_.loop.advance(10s);
  job_ = nullptr;
  EXPECT_TRUE(equalsGolden(device_.inputs.asOnADevice(device_.log.takeKindsAndLines()), "logs/sequence.txt"));
}

TEST_F(JobSequenceTest, ASubJobThatIsNotNeededIsPassedOver) {
  device_.execute("UPDATE ip_interface SET if_state = 1");
  startJob(TWO_NODES_AND_SERVICE);
  EXPECT_THAT(takeOwnLines(), ElementsAre("Preparing...", "Determining sub-jobs...", "Invoking...",
                                          "  3 sub-jobs found", "Preparing sub-job 1", "No need to invoke sub-job 1",
                                          "Preparing sub-job 2", "No need to invoke sub-job 2", "Preparing sub-job 3",
                                          "No need to invoke sub-job 3", "Job succeeded"));
  EXPECT_EQ(job_->status().state(), State::SUCCESSFUL);
}

TEST_F(JobSequenceTest, ASubJobThatFailsDoesNotStopTheSequence) {
  device_.repository.addManualNode("10.1.0.5", nullptr);
  device_.shell.onPrefix("/usr/bin/servicescan").exits(1);
  startJob(R"({"jobs":[{"scanType":"service","services":{"http":{"ports":[80]}}},{"scanType":"node"}]})");
  device_.loop.advance(10s);
  EXPECT_THAT(states_, ElementsAre("running", "successful"));
  EXPECT_FALSE(job_->status().result().isValid());
  EXPECT_EQ(job_->toPropertyValue().toJson(),
            R"({"jobs":[{"scanType":"service","services":{"http":{"ports":[80]}},"status":"failed",)"
            R"("reason":"Exit status 1"},{"scanType":"node","status":"successful","scans":[)"
            R"({"id":"q.0.1.LAN1","type":"ARP","name":"LAN1","cmd":"arp-scan --interface=eth1 --localnet --quiet )"
            R"(--timeout=5000 --retry=3","status":"successful"},{"id":"q.0.1.LAN1","type":"Discovery","name":"LAN1",)"
            R"("cmd":"discovery-client -j -i eth1","status":"successful"}]}],"status":"successful"})");
}

TEST_F(JobSequenceTest, InvokedWithoutASubJobItFails) {
  prepareJob("{}");
  device_.log.clear();
  job_->invoke();
  EXPECT_THAT(device_.log.takeKindsAndLines(), ElementsAre("1 [Job q.0] Invoking...", "1 [Job q.0]   0 sub-jobs found",
                                                           "5 [Job q.0] Job failed: Cannot invoke next sub-job"));
  EXPECT_THAT(states_, ElementsAre("running", "failed"));
}

TEST_F(JobSequenceTest, PreparingAndInvokingAreRefusedOutsideTheInitialState) {
  startJob(TWO_NODES_AND_SERVICE);
  device_.log.clear();
  needed_ = true;
  job_->prepare(needed_);
  EXPECT_FALSE(needed_);
  job_->invoke();
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("1 [Job q.0] Preparing...", "4 [Job q.0] Cannot prepare in state running",
                          "1 [Job q.0] Invoking...", "4 [Job q.0] Cannot re-invoke in state running"));
  EXPECT_EQ(subJobs().size(), 3U);
}

TEST_F(JobSequenceTest, PreparedTwiceItHasTheSubJobsOnce) {
  prepareJob(TWO_NODES_AND_SERVICE);
  job_->prepare(needed_);
  EXPECT_EQ(subJobs().size(), 3U);
}

TEST_F(JobSequenceTest, CancelledInTheMiddleTheRestNeverStarts) {
  startJob(TWO_NODES_AND_SERVICE);
  device_.loop.advance(2500ms);
  device_.log.clear();
  job_->cancel();
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("1 [Job q.0] Cancelling...", "1 [Job q.0] Cancel running sub-job",
                          "1 [Job q.0.1] Cancelling...", "1 [Job q.0] Sub-job 2 update",
                          "5 [Job q.0] Job failed: Cannot invoke next sub-job", "1 [Job q.0.1] Cancel running scan",
                          "1 [ARP scan q.0.1.LAN1] Cancelling...", "1 [ARP scan q.0.1.LAN1] Cancelled",
                          "1 [Job q.0.1] Scan 1 update", "5 [Job q.0.1] Job failed: Cannot invoke next scan",
                          "1 [Job q.0.1] Cancelled", "1 [Job q.0] Cancelled"));
  device_.loop.advance(60s);
  EXPECT_THAT(takeOwnLines(), ElementsAre());
  EXPECT_THAT(states_, ElementsAre("running", "cancelled"));
  EXPECT_EQ(device_.shell.invoked().size(), 3U);
  EXPECT_TRUE(device_.shell.running().empty());
}

TEST_F(JobSequenceTest, OnlyARunningSequenceIsCancelled) {
  prepareJob(TWO_NODES_AND_SERVICE);
  device_.log.clear();
  job_->cancel();
  EXPECT_TRUE(device_.log.takeLines().empty());
  EXPECT_EQ(job_->status().state(), State::IDLE);
}

TEST_F(JobSequenceTest, CancelledInsideItsFirstStatusUpdateNoSubJobStarts) {
  prepareJob(TWO_NODES_AND_SERVICE);
  job_->statusUpdated.connect([this](Property::Value) { job_->cancel(); });
  device_.log.clear();
  job_->invoke();
  EXPECT_THAT(takeOwnLines(), ElementsAre("Invoking...", "Cancelling...", "Cancel running sub-job", "Cancelled",
                                          "  3 sub-jobs found", "Job failed: Cannot invoke next sub-job"));
  EXPECT_TRUE(device_.shell.invoked().empty());
}

TEST_F(JobSequenceTest, DestroyedWhileRunningItKillsWhatRuns) {
  device_.log.setVerbosity(2);
  startJob(R"({"jobs":[{"scanType":"sequence","jobs":[{"scanType":"node"}]}]})");
  device_.log.clear();
  job_ = nullptr;
  const auto lines = device_.log.takeLines();
  EXPECT_EQ(lines.front(), "[Job q.0] Destroying...");
  EXPECT_THAT(lines, Contains("[Job q.0.0.0] Destroyed"));
  device_.loop.advance(1s);
  EXPECT_TRUE(device_.shell.running().empty());
}

TEST_F(JobSequenceTest, ItMayBeReleasedInsideAnyOfItsStatusUpdates) {
  for (const char* last : {"running", "successful", "cancelled"}) {
    prepareJob(TWO_NODES_AND_SERVICE);
    job_->statusUpdated.connect([this, last](Property::Value value) {
      if (std::as_const(value)["status"].toString() == last) job_ = nullptr;
    });
    job_->invoke();
    if (job_ != nullptr && std::string(last) == "cancelled") job_->cancel();
    device_.loop.advance(20s);
    EXPECT_EQ(job_, nullptr) << last;
    EXPECT_TRUE(device_.shell.running().empty()) << last;
  }
}

TEST_F(JobSequenceTest, ANestedSequenceRunsCompletelyBeforeTheOuterOneMovesOn) {
  startJob(R"({"jobs":[{"scanType":"sequence","repeat":2,"jobs":[{"scanType":"node","repeat":2}]},)"
           R"({"scanType":"node"}]})");
  std::vector<std::string> invocations;
  device_.loop.advance(60s);
  for (const auto& line : device_.log.takeLines()) {
    if (line.find("Invoking sub-job") != std::string::npos) invocations.push_back(line);
  }
  EXPECT_THAT(invocations, ElementsAre("[Job q.0] Invoking sub-job 1", "[Job q.0.0] Invoking sub-job 1",
                                       "[Job q.0.0] Invoking sub-job 2", "[Job q.0] Invoking sub-job 2",
                                       "[Job q.0.1] Invoking sub-job 1", "[Job q.0.1] Invoking sub-job 2",
                                       "[Job q.0] Invoking sub-job 3"));
  EXPECT_THAT(states_, ElementsAre("running", "successful"));
}

TEST_F(JobSequenceTest, ASequenceNestedInACancelledOneIsCancelled) {
  startJob(R"({"jobs":[{"scanType":"sequence","jobs":[{"scanType":"node"}]}]})");
  job_->cancel();
  EXPECT_EQ(job_->toPropertyValue()["jobs"][0]["status"].toString(), "cancelled");
  EXPECT_EQ(job_->toPropertyValue()["jobs"][0]["jobs"][0]["status"].toString(), "cancelled");
}

TEST_F(JobSequenceTest, ItsValueHoldsTheSubJobsAndNothingElseIsAdded) {
  prepareJob(R"({"id":"q","status":"?","jobs":[{"scanType":"service","repeat":2},{"scanType":"status"}]})");
  EXPECT_EQ(job_->toPropertyValue().toJson(),
            R"({"id":"q","status":"idle","jobs":[{"scanType":"service","repeat":2,"status":"idle"},)"
            R"({"scanType":"service","repeat":2,"status":"idle"},{"scanType":"status","status":"idle"}]})");
}

TEST_F(JobSequenceTest, DiagnosticsShowTheSubJobsAndMarkTheActiveOne) {
  prepareJob("{}");
  EXPECT_THAT(rowsOf(*job_), ElementsAre("0,0 Job Instance: q.0", "1,0 Status: idle", "1,0 Sub-Jobs: none"));
  startJob(R"({"jobs":[{"scanType":"status"},{"scanType":"sequence","jobs":[{"scanType":"node"}]}]})");
  EXPECT_THAT(rowsOf(*job_, {}, "Running "),
              ElementsAre("0,0 Running Job Instance: q.0", "1,0 Status: running", "1,1 Job Instance: q.0.0",
                          "2,1 Status: idle", "1,1 Active Job Instance: q.0.1", "2,1 Status: running"));
  EXPECT_THAT(rowsOf(*job_, {.maxLevel = 0}), ElementsAre("0,0 Job Instance: q.0"));
  EXPECT_THAT(rowsOf(*job_, {.maxColumn = 0}), ElementsAre("0,0 Job Instance: q.0", "1,0 Status: running"));
}

// Runs on a thread with a stack on which not even 32 bytes a sub-job would fit.
void* runOnASmallStack(void* test) {
  (*static_cast<std::function<void()>*>(test))();
  return nullptr;
}
void onASmallStack(std::function<void()> test) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{256} << 10U), 0);
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, &attributes, runOnASmallStack, &test), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

// The own lines of a sequence of many jobs of one kind, none of which takes any time.
std::vector<std::string> linesOfMany(std::size_t count, const std::string& item, bool withNode) {
  Testing::VirtualEventLoop loop;
  Testing::FakeShell shell(loop);
  const InputFolder inputs(loop);
  loop.provide<Shell::Runner>(&shell);
  Repository repository;
  if (withNode) repository.addManualNode("a", nullptr);
  DiscoveryLog log(1);
  const std::string description = R"({"jobs":[{"repeat":)" + std::to_string(count) + "," + item + "}]}";
  const KXPtr<JobSequence> job(new JobSequence(loop, repository, "q"_s, 0, json(description)));
  bool needed = false;
  job->prepare(needed);
  job->invoke();
  EXPECT_EQ(job->status().state(), State::SUCCESSFUL);
  EXPECT_LE(inputs.count(), Limits::INPUT_FILES_OF_ONE_JOB);
  std::vector<std::string> own;
  for (const std::string& line : log.takeLines()) {
    if (line.starts_with("[Job q.0] ")) own.push_back(line.substr(10));
  }
  return own;
}

TEST_F(JobSequenceTest, ManySubJobsThatAreNotNeededDoNotGrowTheStack) {
  std::vector<std::string> lines;
  onASmallStack([&] { lines = linesOfMany(Limits::SUB_JOBS, R"("scanType":"status")", false); });
  ASSERT_EQ(lines.size(), 5 + 2 * Limits::SUB_JOBS);
  for (std::size_t i = 0; i < Limits::SUB_JOBS; ++i) {
    const std::string number = std::to_string(i + 1);
    ASSERT_EQ(lines[4 + 2 * i], "Preparing sub-job " + number);
    ASSERT_EQ(lines[5 + 2 * i], "No need to invoke sub-job " + number);
  }
  EXPECT_EQ(lines.back(), "Job succeeded");
}

TEST_F(JobSequenceTest, ManySubJobsThatEndInsideTheirInvokeDoNotGrowTheStack) {
  std::vector<std::string> lines;
  onASmallStack([&] {
    lines = linesOfMany(Limits::SUB_JOBS, R"("scanType":"service","services":{"http":{"ports":[80]}})", true);
  });
  ASSERT_EQ(lines.size(), 5 + 4 * Limits::SUB_JOBS);
  for (std::size_t i = 0; i < Limits::SUB_JOBS; ++i) {
    const std::string number = std::to_string(i + 1);
    ASSERT_EQ(lines[4 + 4 * i], "Preparing sub-job " + number);
    ASSERT_EQ(lines[5 + 4 * i], "Invoking sub-job " + number);
    ASSERT_EQ(lines[6 + 4 * i], "Sub-job " + number + " update");
    ASSERT_EQ(lines[7 + 4 * i], "Sub-job " + number + " update");
  }
  EXPECT_EQ(lines.back(), "Job succeeded");
}

}  // namespace
}  // namespace KX::NMS::Discovery
