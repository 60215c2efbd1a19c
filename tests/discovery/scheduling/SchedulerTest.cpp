// SPDX-License-Identifier: Apache-2.0
#include "discovery/scheduling/Scheduler.h"
#include "tests/discovery/scheduling/SchedulerFixture.h"

namespace KX::NMS::Discovery {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class SchedulerTest : public SchedulerFixture {};

constexpr const char* NOW = R"([{"id":"a","scanType":"node","schedule":{"firstRun":"now"}}])";
// At once, and then every hour.
constexpr const char* HOURLY = R"([{"id":"a","scanType":"node","schedule":{"cron":"0 0 * * * *","firstRun":"now"}}])";

// --- the timer

TEST_F(SchedulerTest, WithoutAPlanTicksAreSilent) {
  device_.log.clear();
  device_.loop.advance(24h);
  EXPECT_THAT(device_.log.takeLines(), IsEmpty());
}

TEST_F(SchedulerTest, ChecksEvery15SecondsFromItsCreationOn) {
  plan(R"([{"id":"a","scanType":"node","schedule":"0 0 3 * * *"}])");
  device_.loop.advance(14'999ms);
  EXPECT_THAT(takeOwnLines(), IsEmpty());
  device_.loop.advance(1ms);
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("2 [Scheduler] Next scan scheduled for 2026-01-02 03:00:00"));
  device_.loop.advance(45s);
  EXPECT_EQ(takeOwnLines().size(), 3U);
}

TEST_F(SchedulerTest, JobThatIsDueIsInvokedAtTheNextTick) {
  plan(NOW);
  tick();
  EXPECT_THAT(takeOwnLines(), ElementsAre("The next job is ready to be invoked: a", "Job updated: a"));
  EXPECT_EQ(shown("Running Scan"), "yes");
  EXPECT_EQ(shown("Scheduled Scans"), "0");
  EXPECT_EQ(shown("Invoked Jobs"), "1");
  EXPECT_THAT(values_, ElementsAre("a running"));
  EXPECT_THAT(device_.shell.running(), ElementsAre(Device::ARP_SCAN));
}

TEST_F(SchedulerTest, JobDueExactlyAtATickWaitsForTheNextOne) {
  plan(R"([{"id":"a","scanType":"node","schedule":{"firstRun":"2026-01-01T12:00:15Z"}}])");
  tick();
  EXPECT_EQ(shown("Invoked Jobs"), "0");
  tick();
  EXPECT_EQ(shown("Invoked Jobs"), "1");
}

TEST_F(SchedulerTest, WithAJobRunningTicksOnlySaySo) {
  plan(R"([{"id":"a","scanType":"node","schedule":{"firstRun":"now"}},
           {"id":"b","scanType":"node","schedule":{"firstRun":"now"}}])");
  tick();
  device_.log.clear();
  device_.loop.advance(30s);
  EXPECT_THAT(device_.log.takeKindsAndLines(),
              ElementsAre("2 [Scheduler] Scan is running: a", "2 [Scheduler] Scan is running: a"));
  EXPECT_EQ(shown("Invoked Jobs"), "1");
}

// --- choosing

TEST_F(SchedulerTest, EarliestJobGoesFirst) {
  plan(R"([{"id":"late","scanType":"node","schedule":{"firstRun":"2026-01-01T12:00:03Z"}},
           {"id":"early","scanType":"node","schedule":{"firstRun":"2026-01-01T12:00:01Z"}},
           {"id":"middle","scanType":"node","schedule":{"firstRun":"2026-01-01T12:00:02Z"}}])");
  device_.refuseScans();
  for (int i = 0; i < 3; ++i) tick();
  EXPECT_THAT(values_, ElementsAre("early running", "early successful", "middle running", "middle successful",
                                   "late running", "late successful"));
}

TEST_F(SchedulerTest, OfJobsDueAtTheSameTimeTheOneEarlierInTheListStartsAndTheOtherWaitsForTheNextTick) {
  plan(R"([{"id":"b","scanType":"node","schedule":{"firstRun":"2026-01-01T12:00:01.5Z"}},
           {"id":"a","scanType":"node","schedule":{"firstRun":"2026-01-01T12:00:01.5Z"}}])");
  device_.refuseScans();
  tick();
  EXPECT_THAT(values_, ElementsAre("b running", "b successful"));
  tick();
  EXPECT_THAT(values_, ElementsAre("b running", "b successful", "a running", "a successful"));
}

TEST_F(SchedulerTest, InvalidDescriptionStaysListedAndIsNeverDue) {
  plan(R"([{"id":"a/b","scanType":"node","schedule":{"firstRun":"now"}}])");
  device_.loop.advance(1h);
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a/b at never"));
  EXPECT_EQ(shown("Invoked Jobs"), "0");
  EXPECT_EQ(takeOwnLines().back(), "Next scan scheduled for ");
}

TEST_F(SchedulerTest, InvalidDescriptionsDoNotHinderTheOthers) {
  plan(R"([7,{"id":"a","scanType":"node","schedule":{"firstRun":"now"}},{}])");
  device_.refuseScans();
  tick();
  EXPECT_THAT(values_, ElementsAre("a running", "a successful"));
}

// --- jobs that end

TEST_F(SchedulerTest, JobThatEndsByItselfIsListedOnceUnderItsNextRun) {
  plan(HOURLY);
  tick();
  device_.log.clear();
  device_.endScans();
  EXPECT_THAT(takeOwnLines(), ElementsAre("Job updated: a"));
  EXPECT_THAT(values_, ElementsAre("a running", "a successful"));
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 13:00:00"));
  EXPECT_EQ(shown("Running Scan"), "no");
  EXPECT_EQ(shown("Terminated Jobs"), "1");
  EXPECT_EQ(shown("Cancelled Jobs"), "0");
}

TEST_F(SchedulerTest, ScanThatRunsOverTheEndOf32BitSecondsIsFollowedByTheNext) {
  device_.loop.setNow(Clock("2038-01-19T03:13:50Z"_s, Clock::UTC, 0));
  plan(HOURLY);
  tick();
  EXPECT_EQ(shown("Running Scan"), "yes");
  tick();
  device_.endScans();
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2038-01-19 04:00:00"));
  device_.loop.advance(46min);
  EXPECT_EQ(shown("Invoked Jobs"), "2");
}

TEST_F(SchedulerTest, JobWithoutANextRunIsListedAsTerminated) {
  plan(NOW);
  tick();
  device_.endScans();
  EXPECT_THAT(jobs(), ElementsAre("Terminated a at never"));
  EXPECT_EQ(shown("Scheduled Scans"), "0");
  EXPECT_EQ(shown("Terminated Scans"), "1");
  device_.log.clear();
  device_.loop.advance(1h);
  EXPECT_THAT(takeOwnLines(), IsEmpty());
}

TEST_F(SchedulerTest, JobThatEndsInsideItsInvokeIsCountedAsInvokedAndTerminated) {
  plan(HOURLY);
  device_.refuseScans();
  tick();
  EXPECT_EQ(shown("Running Scan"), "no");
  EXPECT_EQ(shown("Invoked Jobs"), "1");
  EXPECT_EQ(shown("Terminated Jobs"), "1");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 13:00:00"));
}

TEST_F(SchedulerTest, JobWithNothingToDoIsRescheduledWithoutBeingCounted) {
  device_.setInterfaceUp(false);
  plan(HOURLY);
  tick();
  EXPECT_EQ(shown("Running Scan"), "no");
  EXPECT_EQ(shown("Invoked Jobs"), "0");
  EXPECT_EQ(shown("Terminated Jobs"), "0");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 13:00:00"));
  EXPECT_THAT(values_, IsEmpty());
}

TEST_F(SchedulerTest, JobOfUnknownTypeIsTriedAtItsTimeAndRescheduledWithoutBeingCounted) {
  plan(R"([{"id":"a","scanType":"Node","schedule":{"cron":"0 0 * * * *","firstRun":"now"}}])");
  tick();
  EXPECT_TRUE(device_.log.capture().has(RTD::REFUSAL, "[Scheduled Job a] Invalid scan type"));
  EXPECT_EQ(shown("Invoked Jobs"), "0");
  EXPECT_EQ(shown("Terminated Jobs"), "0");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 13:00:00"));
  device_.log.clear();
  device_.loop.advance(1h);
  EXPECT_EQ(device_.log.capture().count("Invalid scan type"), 1U);
}

TEST_F(SchedulerTest, JobOfUnknownTypeWithoutANextRunIsTerminated) {
  plan(R"([{"id":"a","schedule":{"firstRun":"now"}}])");
  tick();
  EXPECT_THAT(jobs(), ElementsAre("Terminated a at never"));
}

TEST_F(SchedulerTest, FailedAttemptIsNotFollowedByAnotherInTheSameTick) {
  plan(R"([{"id":"a","scanType":"x","schedule":{"firstRun":"now"}},
           {"id":"b","scanType":"x","schedule":{"firstRun":"now"}}])");
  tick();
  EXPECT_THAT(takeOwnLines(), ElementsAre("The next job is ready to be invoked: a"));
  tick();
  EXPECT_THAT(takeOwnLines(), ElementsAre("The next job is ready to be invoked: b"));
}

// --- cancel

TEST_F(SchedulerTest, CancelWithoutARunningJobDoesNothing) {
  plan(HOURLY);
  scheduler_->cancelRunningJob();
  EXPECT_THAT(device_.log.takeLines(), IsEmpty());
  EXPECT_EQ(shown("Cancelled Jobs"), "0");
}

// Kept on purpose; see the scheduler.
TEST_F(SchedulerTest, CancelledJobWithANextRunIsCountedInBothCountsAndListedTwice) {
  plan(HOURLY);
  tick();
  device_.log.clear();
  scheduler_->cancelRunningJob();
  EXPECT_THAT(takeOwnLines(), ElementsAre("Cancelling job: a", "Job updated: a"));
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 13:00:00", "Scheduled a at 2026-01-01 13:00:00"));
  EXPECT_EQ(shown("Cancelled Jobs"), "1");
  EXPECT_EQ(shown("Terminated Jobs"), "1");
  EXPECT_EQ(shown("Scheduled Scans"), "2");
  EXPECT_EQ(shown("Running Scan"), "no");
  EXPECT_THAT(values_, ElementsAre("a running", "a cancelled"));
}

TEST_F(SchedulerTest, CancelledJobWithoutANextRunIsTerminatedTwice) {
  plan(NOW);
  tick();
  scheduler_->cancelRunningJob();
  EXPECT_THAT(jobs(), ElementsAre("Terminated a at never", "Terminated a at never"));
}

TEST_F(SchedulerTest, CancelRunsThroughItsStepsInThisOrder) {
  plan(HOURLY);
  tick();
  device_.log.clear();
  scheduler_->cancelRunningJob();
  std::vector<std::string> lines = device_.log.takeLines();
  std::erase_if(lines, [](const std::string& line) { return line.starts_with("[Job") || line.starts_with("[ARP"); });
  EXPECT_THAT(lines, ElementsAre("[Scheduler] Cancelling job: a",                                     //
                                 "[Scheduled Job a] Reschedule with cron specification 0 0 * * * *",  //
                                 "[Scheduled Job a] - Next scan: 2026-01-01 13:00:00",                //
                                 "[Scheduled Job a] Cancelling...",                                   //
                                 "[Scheduled Job a] Job update",                                      //
                                 "[Scheduled Job a] State changed to cancelled",                      //
                                 "[Scheduler] Job updated: a",                                        //
                                 "[Scheduled Job a] Reschedule with cron specification 0 0 * * * *",  //
                                 "[Scheduled Job a] - Next scan: 2026-01-01 13:00:00",                //
                                 // The job has ended by now and refuses.
                                 "[Scheduled Job a] Cancelling...",     //
                                 "[Scheduled Job a] Cancelled",         //
                                 "[Scheduled Job a] Retiring job a.0",  //
                                 "[Scheduled Job a] Cancelled"));
}

TEST_F(SchedulerTest, JobThatIsListedTwiceRunsOnceAtATime) {
  plan(HOURLY);
  tick();
  scheduler_->cancelRunningJob();
  device_.loop.advance(1h);
  EXPECT_EQ(shown("Running Scan"), "yes");
  EXPECT_EQ(shown("Scheduled Scans"), "1");
  EXPECT_EQ(shown("Invoked Jobs"), "2");
  // Its second entry is passed over while it runs, and both stand for the next hour after its end.
  tick();
  EXPECT_EQ(shown("Invoked Jobs"), "2");
  device_.endScans();
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 14:00:00", "Scheduled a at 2026-01-01 14:00:00"));
}

// --- clear

TEST_F(SchedulerTest, ClearDropsThePlanAndCancelsTheRunningJob) {
  plan(R"([{"id":"once","scanType":"x","schedule":{"firstRun":"now"}},
           {"id":"a","scanType":"node","schedule":{"firstRun":"2026-01-01T12:00:01Z"}},
           {"id":"b","scanType":"node","schedule":"0 0 3 * * *"}])");
  tick();
  tick();
  device_.log.clear();
  scheduler_->clear();
  EXPECT_THAT(takeOwnLines(),
              ElementsAre("Clearing all jobs", "Cancelling running job: a", "Cancelling job: a", "Job updated: a",
                          "Deleting scheduled job: b", "Deleting terminated job: once", "Deleting terminated job: a",
                          "Deleting terminated job: a"));
  EXPECT_THAT(jobs(), IsEmpty());
  EXPECT_EQ(shown("Cancelled Jobs"), "1");
  device_.loop.settle();
  EXPECT_THAT(device_.shell.running(), IsEmpty());
}

TEST_F(SchedulerTest, ClearOfNothingOnlySaysSo) {
  scheduler_->clear();
  EXPECT_THAT(device_.log.takeKindsAndLines(), ElementsAre("1 [Scheduler] Clearing all jobs"));
}

// --- destruction

TEST_F(SchedulerTest, DestroyedOneCancelsItsJobAndPublishesNothingMore) {
  plan(HOURLY);
  tick();
  values_.clear();
  scheduler_.reset();
  EXPECT_THAT(values_, IsEmpty());
  EXPECT_TRUE(device_.log.capture().has("[Scheduled Job a] Destroyed"));
  device_.loop.settle();
  EXPECT_THAT(device_.shell.running(), IsEmpty());
  device_.log.clear();
  device_.loop.advance(1h);
  EXPECT_THAT(device_.log.takeLines(), IsEmpty());
}

TEST_F(SchedulerTest, DestroyedOneWithADoubledRunningJobCancelsItOnce) {
  plan(HOURLY);
  tick();
  scheduler_->cancelRunningJob();
  device_.loop.advance(1h);
  device_.log.clear();
  scheduler_.reset();
  EXPECT_EQ(device_.log.capture().count("Cancelling..."), 3U);  // the scheduled job's, the job's and the scan's
}

// --- what it shows

TEST_F(SchedulerTest, RowsOfANewOne) {
  EXPECT_THAT(rowsOf(*scheduler_, {.level = 1, .column = 2}, "The "),
              ElementsAre("1,2 The Network Scanning Scheduler: ",  //
                          "2,2 Running Scan: no",                  //
                          "2,2 Scheduled Scans: 0",                //
                          "2,2 Terminated Scans: 0",               //
                          "2,2 Statistics: ",                      //
                          "3,2 Updates Received: 0",               //
                          "3,2 Max. Scheduled Jobs: 0",            //
                          "3,2 Invoked Jobs: 0",                   //
                          "3,2 Cancelled Jobs: 0",                 //
                          "3,2 Terminated Jobs: 0"));
}

TEST_F(SchedulerTest, JobsStandBelowTheirCountsAColumnFurther) {
  plan(R"([{"id":"once","schedule":{"firstRun":"now"}},
           {"id":"a","scanType":"node","schedule":{"firstRun":"2026-01-01T12:00:01Z"}},
           {"id":"b","scanType":"node","schedule":"0 0 3 * * *"}])");
  tick();
  tick();
  std::vector<std::string> rows = rowsOf(*scheduler_, {.maxLevel = 1});
  EXPECT_THAT(rows, ElementsAre("0,0 Network Scanning Scheduler: ", "1,0 Running Scan: yes", "1,1 Running Job: a",
                                "1,0 Scheduled Scans: 1", "1,1 Scheduled Job: b", "1,0 Terminated Scans: 1",
                                "1,1 Terminated Job: once", "1,0 Statistics: "));
  rows = rowsOf(*scheduler_);
  EXPECT_THAT(rows, Contains("2,2 Running Job Instance: a.0"));
  EXPECT_THAT(rows, Contains("2,1 Next run: 2026-01-02 03:00:00"));
}

TEST_F(SchedulerTest, JobsBeyondTheColumnAreCountedOnly) {
  plan(HOURLY);
  EXPECT_THAT(rowsOf(*scheduler_, {.maxLevel = 1, .maxColumn = 0}),
              ElementsAre("0,0 Network Scanning Scheduler: ", "1,0 Running Scan: no", "1,0 Scheduled Scans: 1",
                          "1,0 Terminated Scans: 0", "1,0 Statistics: "));
  EXPECT_THAT(rowsOf(*scheduler_, {.maxColumn = 0, .column = 1}), IsEmpty());
}

TEST_F(SchedulerTest, RowsBeyondTheLevelAreLeftOut) {
  EXPECT_THAT(rowsOf(*scheduler_, {.maxLevel = 1, .level = 2}), IsEmpty());
  EXPECT_THAT(rowsOf(*scheduler_, {.maxLevel = 0}), ElementsAre("0,0 Network Scanning Scheduler: "));
}

TEST_F(SchedulerTest, MaximumOfScheduledJobsReadsZeroWhateverHappens) {
  plan(HOURLY);
  tick();
  scheduler_->cancelRunningJob();
  EXPECT_EQ(shown("Scheduled Scans"), "2");
  EXPECT_EQ(shown("Max. Scheduled Jobs"), "0");
}

}  // namespace
}  // namespace KX::NMS::Discovery
