// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "discovery/scheduling/ScheduledJob.h"
#include "tests/discovery/common/Json.h"
#include "tests/discovery/common/Rows.h"
#include "tests/discovery/scheduling/Device.h"

namespace KX::NMS::Discovery {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr const char* NIGHTLY = R"({"id":"nightly","scanType":"node","schedule":"0 0 3 * * *"})";

class ScheduledJobTest : public testing::Test {
 protected:
  KXPtr<ScheduledJob> make(const char* description = NIGHTLY) { return make(json(description)); }
  KXPtr<ScheduledJob> make(const Property::Value& description) {
    return KXPtr<ScheduledJob>(new ScheduledJob(device_.loop, device_.repository, description));
  }
  void connect(const KXPtr<ScheduledJob>& job) {
    job->statusUpdated.connect(Function<void(Property::Value)>(
        [this](Property::Value value) { values_.emplace_back(value.toJson().c_str()); }));
  }
  KXPtr<ScheduledJob> makeRunning() {
    const KXPtr<ScheduledJob> job = make();
    EXPECT_TRUE(job->invoke());
    EXPECT_EQ(job->status().state(), State::RUNNING);
    device_.log.clear();
    return job;
  }
  // The scheduled job's own lines.
  std::vector<std::string> takeOwnLines() {
    std::vector<std::string> own;
    for (const std::string& line : device_.log.takeLines()) {
      if (line.starts_with("[Scheduled Job")) own.push_back(line);
    }
    return own;
  }

  Device device_{3};
  std::vector<std::string> values_;
};

// --- construction

TEST_F(ScheduledJobTest, DescriptionIsParsedFirstAndThenTheJobIsCreated) {
  const KXPtr<ScheduledJob> job = make();
  const std::string yaml = json(NIGHTLY).toYaml(2, 2).c_str();
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("1 [Scheduled Job nightly] Parsing job description",  //
                          "2 [Scheduled Job nightly]   " + yaml,                //
                          "1 [Scheduled Job nightly] - Next scan is on 2026-01-02 03:00:00",
                          "2 [Scheduled Job nightly] Created"));
  EXPECT_EQ(job->toString(), "nightly");
  EXPECT_EQ(job->status().state(), State::IDLE);
  EXPECT_EQ(job->nextRun(), Clock("2026-01-02T03:00:00Z"_s, Clock::UTC, 0));
  EXPECT_EQ(job->runningJob(), nullptr);
  EXPECT_EQ(job->terminatedJob(), nullptr);
}

TEST_F(ScheduledJobTest, NextScanIsLoggedInLocalTime) {
  setenv("TZ", "Asia/Tokyo", 1);
  make();
  setenv("TZ", "UTC", 1);
  EXPECT_TRUE(device_.log.capture().has("[Scheduled Job nightly] - Next scan is on 2026-01-02 12:00:00"));
}

TEST_F(ScheduledJobTest, UnusableScanPartMakesAFailedJobWithoutASchedule) {
  const KXPtr<ScheduledJob> job = make(R"({"id":"a/b","scanType":"node","schedule":"0 0 3 * * *"})");
  const std::string yaml = json(R"({"id":"a/b","scanType":"node","schedule":"0 0 3 * * *"})").toYaml(2, 2).c_str();
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("1 [Scheduled Job a/b] Parsing job description",         //
                          "2 [Scheduled Job a/b]   " + yaml,                       //
                          "4 Invalid discovery scan description: Invalid job id",  //
                          "5 [Scheduled Job a/b] Job failed: Invalid job id",      //
                          "2 [Scheduled Job a/b] State changed to failed",         //
                          "2 [Scheduled Job a/b] Created"));
  EXPECT_EQ(job->status().state(), State::FAILED);
  EXPECT_EQ(job->status().text(), "Invalid job id");
  EXPECT_FALSE(job->nextRun().isValid());
  EXPECT_EQ(job->toString(), "a/b");
}

TEST_F(ScheduledJobTest, UnusableSchedulePartMakesAFailedJobToo) {
  const KXPtr<ScheduledJob> job = make(R"({"id":"a","scanType":"node"})");
  EXPECT_TRUE(device_.log.capture().has(RTD::REFUSAL, "Invalid discovery scan description: Expecting schedule"));
  EXPECT_EQ(job->status().text(), "Expecting schedule");
  EXPECT_FALSE(job->nextRun().isValid());
}

TEST_F(ScheduledJobTest, ScanPartIsCheckedBeforeTheSchedulePart) {
  EXPECT_EQ(make(R"({"id":"a/b"})")->status().text(), "Invalid job id");
}

TEST_F(ScheduledJobTest, DescriptionThatIsNoObjectMakesAFailedJobWithoutAnId) {
  const KXPtr<ScheduledJob> job = make("7");
  EXPECT_EQ(job->status().text(), "Expecting job description object");
  EXPECT_EQ(job->toString(), "");
  EXPECT_TRUE(device_.log.capture().has("[Scheduled Job ] Job failed: Expecting job description object"));
}

TEST_F(ScheduledJobTest, FailedJobIsNeverDueAndSortsLast) {
  const KXPtr<ScheduledJob> failed = make(R"({"id":"a"})");
  const KXPtr<ScheduledJob> good = make();
  device_.loop.setNow(Clock("9999-12-31T00:00:00Z"_s, Clock::UTC, 0));
  EXPECT_FALSE(failed->isDue());
  EXPECT_TRUE(good->scheduledBefore(*failed));
  EXPECT_FALSE(failed->scheduledBefore(*good));
  EXPECT_FALSE(failed->scheduledBefore(*failed));
}

TEST_F(ScheduledJobTest, WithoutAnIdPrefixAndIdAreEmptyAndTheJobsAreCountedFromPointZero) {
  const KXPtr<ScheduledJob> job = make(R"({"scanType":"node","schedule":"0 0 3 * * *"})");
  EXPECT_EQ(job->toString(), "");
  EXPECT_TRUE(device_.log.capture().has("[Scheduled Job ] Created"));
  device_.refuseScans();
  EXPECT_TRUE(job->invoke());
  EXPECT_EQ(job->terminatedJob()->id(), ".0");
  EXPECT_TRUE(job->invoke());
  EXPECT_EQ(job->terminatedJob()->id(), ".1");
}

TEST_F(ScheduledJobTest, NumberAsIdIsItsText) {
  EXPECT_EQ(make(R"({"id":17,"schedule":"0 0 3 * * *"})")->toString(), "17");
  EXPECT_EQ(make(R"({"id":["a"],"schedule":"0 0 3 * * *"})")->toString(), "");
}

// --- due times

TEST_F(ScheduledJobTest, JobIsDueWhenItsTimeHasPassedNotWhenItComes) {
  const KXPtr<ScheduledJob> job = make();
  device_.loop.setNow(Clock("2026-01-02T03:00:00Z"_s, Clock::UTC, 0));
  EXPECT_FALSE(job->isDue());
  device_.loop.setNow(Clock("2026-01-02T03:00:00.000001Z"_s, Clock::UTC, 0));
  EXPECT_TRUE(job->isDue());
}

TEST_F(ScheduledJobTest, JobOfNowIsDueWithTheNextInstant) {
  const KXPtr<ScheduledJob> job = make(R"({"id":"a","schedule":{"firstRun":"now"}})");
  EXPECT_FALSE(job->isDue());
  device_.loop.advance(1ms);
  EXPECT_TRUE(job->isDue());
}

TEST_F(ScheduledJobTest, EqualTimesAreNeitherBefore) {
  const KXPtr<ScheduledJob> one = make();
  const KXPtr<ScheduledJob> other = make();
  EXPECT_FALSE(one->scheduledBefore(*other));
  EXPECT_FALSE(other->scheduledBefore(*one));
}

TEST_F(ScheduledJobTest, SecondsDecideAndThenTheFraction) {
  const KXPtr<ScheduledJob> late = make(R"({"id":"a","schedule":{"firstRun":"2026-05-05T05:05:05.200Z"}})");
  const KXPtr<ScheduledJob> early = make(R"({"id":"a","schedule":{"firstRun":"2026-05-05T05:05:05.100Z"}})");
  const KXPtr<ScheduledJob> next = make(R"({"id":"a","schedule":{"firstRun":"2026-05-05T05:05:06.000Z"}})");
  EXPECT_TRUE(early->scheduledBefore(*late));
  EXPECT_FALSE(late->scheduledBefore(*early));
  EXPECT_TRUE(late->scheduledBefore(*next));
  EXPECT_FALSE(next->scheduledBefore(*late));
}

// --- reschedule

TEST_F(ScheduledJobTest, RescheduleTakesTheNextMatchAfterNow) {
  const KXPtr<ScheduledJob> job = make();
  device_.loop.setNow(Clock("2026-03-05T03:00:00.900Z"_s, Clock::UTC, 0));
  device_.log.clear();
  EXPECT_TRUE(job->reschedule());
  EXPECT_EQ(job->nextRun(), Clock("2026-03-06T03:00:00Z"_s, Clock::UTC, 0));
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("1 [Scheduled Job nightly] Reschedule with cron specification 0 0 3 * * *",
                          "1 [Scheduled Job nightly] - Next scan: 2026-03-06 03:00:00"));
}

TEST_F(ScheduledJobTest, RescheduleGoesOnAfterTheEndOf32BitSeconds) {
  const KXPtr<ScheduledJob> job = make();
  device_.loop.setNow(Clock("2038-01-19T03:00:00Z"_s, Clock::UTC, 0));
  EXPECT_TRUE(job->isDue());
  device_.log.clear();
  EXPECT_TRUE(job->reschedule());
  EXPECT_FALSE(job->isDue());
  EXPECT_EQ(job->nextRun(), Clock("2038-01-20T03:00:00Z"_s, Clock::UTC, 0));
  EXPECT_TRUE(device_.log.capture().has("[Scheduled Job nightly] - Next scan: 2038-01-20 03:00:00"));
}

TEST_F(ScheduledJobTest, JobWithoutACronSpecificationRunsOnce) {
  const KXPtr<ScheduledJob> job = make(R"({"id":"a","schedule":{"firstRun":"now"}})");
  device_.log.clear();
  EXPECT_FALSE(job->reschedule());
  EXPECT_FALSE(job->nextRun().isValid());
  EXPECT_THAT(device_.log.takeLines(), IsEmpty());
}

TEST_F(ScheduledJobTest, FailedJobHasNoCronSpecificationToRescheduleWith) {
  const KXPtr<ScheduledJob> scanPart = make(R"({"id":"a/b","schedule":"0 0 3 * * *"})");
  EXPECT_FALSE(scanPart->reschedule());
  const KXPtr<ScheduledJob> schedulePart = make(R"({"id":"a","schedule":{"cron":"0 0 3 * * *","firstRun":"x"}})");
  EXPECT_FALSE(schedulePart->reschedule());
  EXPECT_FALSE(schedulePart->nextRun().isValid());
}

// --- invoke

TEST_F(ScheduledJobTest, InvokeBuildsPreparesAndStartsAJobNumberedFromZero) {
  const KXPtr<ScheduledJob> job = make();
  device_.log.clear();
  EXPECT_TRUE(job->invoke());
  ASSERT_NE(job->runningJob(), nullptr);
  EXPECT_EQ(job->runningJob()->id(), "nightly.0");
  EXPECT_EQ(job->status().state(), State::RUNNING);
  EXPECT_THAT(takeOwnLines(), ElementsAre("[Scheduled Job nightly] Preparing...", "[Scheduled Job nightly] Job update",
                                          "[Scheduled Job nightly] State changed to running"));
}

TEST_F(ScheduledJobTest, InvokeWhileAJobRunsIsRefusedAndLeavesItAlone) {
  const KXPtr<ScheduledJob> job = makeRunning();
  const KXPtr<Job> running = job->runningJob();
  EXPECT_FALSE(job->invoke());
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("1 [Scheduled Job nightly] Preparing...",
                          "4 [Scheduled Job nightly] Cannot re-invoke; already running"));
  EXPECT_EQ(job->runningJob(), running);
  EXPECT_EQ(job->status().state(), State::RUNNING);
}

TEST_F(ScheduledJobTest, UnknownScanTypeIsRefused) {
  for (const char* type : {R"("Node")", R"("")", R"("node ")", R"("blink")", "7", "null"}) {
    Property::Value description = json(NIGHTLY);
    description["scanType"] = json(type);
    const KXPtr<ScheduledJob> job = make(description);
    device_.log.clear();
    EXPECT_FALSE(job->invoke());
    EXPECT_THAT(device_.log.takeKindsAndLines(),
                ElementsAre("1 [Scheduled Job nightly] Preparing...", "4 [Scheduled Job nightly] Invalid scan type"))
        << type;
    EXPECT_EQ(job->runningJob(), nullptr);
    EXPECT_EQ(job->status().state(), State::IDLE);
  }
}

TEST_F(ScheduledJobTest, MissingScanTypeIsRefused) {
  const KXPtr<ScheduledJob> job = make(R"({"id":"a","schedule":"0 0 3 * * *"})");
  EXPECT_FALSE(job->invoke());
  EXPECT_TRUE(device_.log.capture().has(RTD::REFUSAL, "[Scheduled Job a] Invalid scan type"));
  EXPECT_EQ(job->toPropertyValue().toJson(), R"({"id":"a","schedule":"0 0 3 * * *","status":"idle"})");
}

TEST_F(ScheduledJobTest, JobWithNothingToDoLeavesTheScheduledJobIdle) {
  const KXPtr<ScheduledJob> job = make();
  device_.refuseScans();
  EXPECT_TRUE(job->invoke());
  const KXPtr<Job> terminated = job->terminatedJob();
  device_.setInterfaceUp(false);
  connect(job);
  device_.log.clear();
  EXPECT_FALSE(job->invoke());
  EXPECT_THAT(takeOwnLines(),
              ElementsAre("[Scheduled Job nightly] Preparing...", "[Scheduled Job nightly] No need to invoke"));
  EXPECT_EQ(job->status().state(), State::IDLE);
  EXPECT_EQ(job->runningJob(), nullptr);
  EXPECT_EQ(job->terminatedJob(), terminated);
  EXPECT_THAT(values_, IsEmpty());
}

TEST_F(ScheduledJobTest, JobThatWasNotNeededUsedUpItsNumber) {
  const KXPtr<ScheduledJob> job = make();
  device_.setInterfaceUp(false);
  EXPECT_FALSE(job->invoke());
  device_.setInterfaceUp(true);
  EXPECT_TRUE(job->invoke());
  EXPECT_EQ(job->runningJob()->id(), "nightly.1");
}

TEST_F(ScheduledJobTest, InvalidDescriptionThatIsInvokedAllTheSameRunsAsFarAsItGoes) {
  const KXPtr<ScheduledJob> job = make(R"({"id":"a","scanType":"node"})");
  EXPECT_EQ(job->status().state(), State::FAILED);
  EXPECT_TRUE(job->invoke());
  EXPECT_EQ(job->status().state(), State::RUNNING);
  EXPECT_EQ(job->status().text(), "");
  job->cancel();
  EXPECT_FALSE(job->reschedule());
}

// --- following the job

TEST_F(ScheduledJobTest, StatusOfTheJobIsMirroredAndPublishedAsTheDescriptionsValue) {
  const KXPtr<ScheduledJob> job = make();
  connect(job);
  EXPECT_TRUE(job->invoke());
  device_.endScans();
  EXPECT_THAT(values_,
              ElementsAre(R"({"id":"nightly","scanType":"node","schedule":"0 0 3 * * *","status":"running"})",
                          R"({"id":"nightly","scanType":"node","schedule":"0 0 3 * * *","status":"successful"})"));
  EXPECT_EQ(job->status().state(), State::SUCCESSFUL);
  EXPECT_TRUE(job->status().result().isObject());
}

TEST_F(ScheduledJobTest, FinishedJobIsRetiredAfterItsStatusWasPublished) {
  const KXPtr<ScheduledJob> job = makeRunning();
  const KXPtr<Job> finished = job->runningJob();
  job->statusUpdated.connect(Function<void(Property::Value)>([&](Property::Value) {
    EXPECT_EQ(job->runningJob(), finished);
    EXPECT_EQ(job->terminatedJob(), nullptr);
  }));
  device_.endScans();
  EXPECT_EQ(job->runningJob(), nullptr);
  EXPECT_EQ(job->terminatedJob(), finished);
  EXPECT_THAT(takeOwnLines(),
              ElementsAre("[Scheduled Job nightly] Job update", "[Scheduled Job nightly] State changed to successful",
                          "[Scheduled Job nightly] Retiring job nightly.0"));
}

TEST_F(ScheduledJobTest, NextFinishedJobReplacesTheOneBefore) {
  const KXPtr<ScheduledJob> job = make();
  device_.refuseScans();
  EXPECT_TRUE(job->invoke());
  EXPECT_TRUE(job->invoke());
  EXPECT_EQ(job->terminatedJob()->id(), "nightly.1");
  EXPECT_TRUE(device_.log.capture().has("[Job nightly.0] Destroyed"));
}

TEST_F(ScheduledJobTest, JobThatEndsInsideInvokeIsRetiredAndInvokeIsTrue) {
  const KXPtr<ScheduledJob> job = make();
  device_.refuseScans();
  EXPECT_TRUE(job->invoke());
  EXPECT_EQ(job->runningJob(), nullptr);
  EXPECT_EQ(job->terminatedJob()->id(), "nightly.0");
  EXPECT_EQ(job->status().state(), State::SUCCESSFUL);
}

TEST_F(ScheduledJobTest, StatusWinsOverTheSameKeyOfTheDescription) {
  const KXPtr<ScheduledJob> job = make(R"({"status":"mine","id":"a","reason":"mine","schedule":7})");
  EXPECT_EQ(job->toPropertyValue().toJson(),
            R"({"status":"failed","id":"a","reason":"Expecting schedule","schedule":7})");
}

// --- cancel

TEST_F(ScheduledJobTest, CancelWithoutARunningJobDoesNothing) {
  const KXPtr<ScheduledJob> job = make();
  connect(job);
  device_.log.clear();
  job->cancel();
  EXPECT_THAT(device_.log.takeLines(), IsEmpty());
  EXPECT_THAT(values_, IsEmpty());
}

TEST_F(ScheduledJobTest, CancelledJobReportsItsEndAndIsRetired) {
  const KXPtr<ScheduledJob> job = makeRunning();
  connect(job);
  job->cancel();
  EXPECT_THAT(takeOwnLines(),
              ElementsAre("[Scheduled Job nightly] Cancelling...", "[Scheduled Job nightly] Job update",
                          "[Scheduled Job nightly] State changed to cancelled",
                          "[Scheduled Job nightly] Retiring job nightly.0", "[Scheduled Job nightly] Cancelled"));
  EXPECT_THAT(values_, ElementsAre(testing::HasSubstr(R"("status":"cancelled")")));
  EXPECT_EQ(job->runningJob(), nullptr);
  EXPECT_EQ(job->terminatedJob()->id(), "nightly.0");
  device_.loop.settle();
  EXPECT_THAT(device_.shell.running(), IsEmpty());
}

TEST_F(ScheduledJobTest, CancelledOneMayBeInvokedAnew) {
  const KXPtr<ScheduledJob> job = makeRunning();
  job->cancel();
  EXPECT_TRUE(job->invoke());
  EXPECT_EQ(job->runningJob()->id(), "nightly.1");
  EXPECT_EQ(job->status().state(), State::RUNNING);
}

// --- destruction

TEST_F(ScheduledJobTest, DestroyedOneCancelsItsRunningJob) {
  KXPtr<ScheduledJob> job = makeRunning();
  job.reset();
  EXPECT_THAT(takeOwnLines(),
              ElementsAre("[Scheduled Job nightly] Destroying...", "[Scheduled Job nightly] Cancelling...",
                          "[Scheduled Job nightly] Job update", "[Scheduled Job nightly] State changed to cancelled",
                          "[Scheduled Job nightly] Retiring job nightly.0", "[Scheduled Job nightly] Cancelled",
                          "[Scheduled Job nightly] Destroyed"));
  device_.loop.settle();
  EXPECT_THAT(device_.shell.running(), IsEmpty());
}

TEST_F(ScheduledJobTest, DestroyedIdleOneOnlySaysSo) {
  KXPtr<ScheduledJob> job = make();
  device_.log.clear();
  job.reset();
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("2 [Scheduled Job nightly] Destroying...", "2 [Scheduled Job nightly] Destroyed"));
}

// --- what it shows

TEST_F(ScheduledJobTest, RowsOfAnIdleOne) {
  EXPECT_THAT(rowsOf(*make(), {.level = 1, .column = 1}, "Scheduled "),
              ElementsAre("1,1 Scheduled Job: nightly",         //
                          "2,1 Description: ",                  //
                          "3,1 id: nightly",                    //
                          "3,1 scanType: node",                 //
                          "3,1 schedule: 0 0 3 * * *",          //
                          "2,1 Next run: 2026-01-02 03:00:00",  //
                          "2,1 Status: idle",                   //
                          "2,1 Running: no",                    //
                          "2,1 Terminated: no"));
}

TEST_F(ScheduledJobTest, OneWithoutANextRunNeverRuns) {
  EXPECT_THAT(rowsOf(*make("7")),
              ElementsAre("0,0 Job: ", "1,0 Description: 7", "1,0 Next run: never", "1,0 Status: failed",
                          "1,0 Reason: Expecting job description object", "1,0 Running: no", "1,0 Terminated: no"));
}

TEST_F(ScheduledJobTest, RowsOfRunningAndTerminatedJobStandAColumnFurther) {
  const KXPtr<ScheduledJob> job = make();
  device_.refuseScans();
  EXPECT_TRUE(job->invoke());
  device_.shell.on(Device::ARP_SCAN).hangs();
  EXPECT_TRUE(job->invoke());
  const std::vector<std::string> rows = rowsOf(*job, {.maxColumn = 1});
  EXPECT_THAT(rows, Contains("1,1 Running Job Instance: nightly.1"));
  EXPECT_THAT(rows, Contains("1,1 Terminated Job Instance: nightly.0"));
  EXPECT_THAT(rows, Contains("2,1 Status: running"));
  EXPECT_THAT(rows, testing::Not(Contains("1,0 Running: no")));
}

TEST_F(ScheduledJobTest, JobsBeyondTheColumnAreLeftOutWithoutAWord) {
  const KXPtr<ScheduledJob> job = makeRunning();
  EXPECT_THAT(rowsOf(*job, {.maxColumn = 0}),
              ElementsAre("0,0 Job: nightly", "1,0 Description: ", "2,0 id: nightly", "2,0 scanType: node",
                          "2,0 schedule: 0 0 3 * * *", "1,0 Next run: 2026-01-02 03:00:00", "1,0 Status: running",
                          "1,0 Terminated: no"));
}

TEST_F(ScheduledJobTest, RowsBeyondTheLevelAreLeftOut) {
  const KXPtr<ScheduledJob> job = makeRunning();
  EXPECT_THAT(rowsOf(*job, {.maxLevel = 1, .level = 2}), IsEmpty());
  EXPECT_THAT(rowsOf(*job, {.maxLevel = 2, .level = 2}), ElementsAre("2,0 Job: nightly"));
  EXPECT_THAT(rowsOf(*job, {.maxLevel = 3, .level = 2}),
              ElementsAre("2,0 Job: nightly", "3,0 Description: ", "3,0 Next run: 2026-01-02 03:00:00",
                          "3,0 Status: running", "3,1 Running Job Instance: nightly.0", "3,0 Terminated: no"));
}

TEST_F(ScheduledJobTest, RowsBeyondTheColumnAreLeftOut) {
  EXPECT_THAT(rowsOf(*make(), {.maxColumn = 0, .column = 1}), IsEmpty());
}

}  // namespace
}  // namespace KX::NMS::Discovery
