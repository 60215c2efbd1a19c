// SPDX-License-Identifier: Apache-2.0
// Replacing the plan.
#include "tests/Effort.h"
#include "tests/discovery/common/Golden.h"
#include "tests/discovery/scheduling/SchedulerFixture.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SchedulerUpdateTest : public SchedulerFixture {
 protected:
  void update(const char* descriptions) { scheduler_->updateJobDescriptions(json(descriptions)); }
};

constexpr const char* HOURLY = R"([{"id":"a","scanType":"node","schedule":{"cron":"0 0 * * * *","firstRun":"now"}}])";

TEST_F(SchedulerUpdateTest, WhatIsNoArrayIsOnlyCounted) {
  plan(R"([{"id":"a","scanType":"node","schedule":{"firstRun":"now"}},{"id":"b","schedule":"0 0 3 * * *"}])");
  tick();
  device_.log.clear();
  values_.clear();
  for (const char* descriptions : {"{}", "null", "\"a\"", "7"}) update(descriptions);
  scheduler_->updateJobDescriptions(Property::Value());
  EXPECT_THAT(device_.log.takeKindsAndLines(), testing::Each("1 [Scheduler] Update received"));
  EXPECT_EQ(shown("Updates Received"), "6");
  EXPECT_EQ(shown("Running Scan"), "yes");
  EXPECT_EQ(shown("Scheduled Scans"), "1");
  EXPECT_THAT(values_, IsEmpty());
}

TEST_F(SchedulerUpdateTest, NewJobsStandInTheOrderOfTheirArrival) {
  update(R"([{"id":"b","schedule":"0 0 3 * * *"},{"id":"a","schedule":"0 0 2 * * *"}])");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled b at 2026-01-02 03:00:00", "Scheduled a at 2026-01-02 02:00:00"));
  EXPECT_THAT(takeOwnLines(),
              ElementsAre("Update received", "Parsed 2 jobs", "No running job to cancel", "Adding new scheduled job: b",
                          "Adding new scheduled job: a", "Update processed"));
}

TEST_F(SchedulerUpdateTest, KnownJobsKeepTheirPlacesMissingOnesGoAndNewOnesFollow) {
  plan(R"([{"id":"a","schedule":"0 0 1 * * *"},{"id":"b","schedule":"0 0 2 * * *"},
           {"id":"c","schedule":"0 0 3 * * *"},{"id":"d","schedule":"0 0 4 * * *"}])");
  update(R"([{"id":"e","schedule":"0 0 5 * * *"},{"id":"d","schedule":"0 0 6 * * *"},
             {"id":"b","schedule":"0 0 7 * * *"}])");
  EXPECT_THAT(takeOwnLines(),
              ElementsAre("Update received", "Parsed 3 jobs", "No running job to cancel", "Deleting scheduled job: a",
                          "Deleting scheduled job: c", "Adding new scheduled job: e", "Updating scheduled job: d",
                          "Updating scheduled job: b", "Update processed"));
  EXPECT_THAT(jobs(), ElementsAre("Scheduled b at 2026-01-02 07:00:00", "Scheduled d at 2026-01-02 06:00:00",
                                  "Scheduled e at 2026-01-02 05:00:00"));
}

TEST_F(SchedulerUpdateTest, NeighboursThatAreMissingBothGo) {
  plan(R"([{"id":"a","schedule":"0 0 1 * * *"},{"id":"b","schedule":"0 0 2 * * *"}])");
  update("[]");
  EXPECT_THAT(jobs(), IsEmpty());
}

TEST_F(SchedulerUpdateTest, NextRunOfTheOldDescriptionIsNotCarriedOver) {
  plan(R"([{"id":"a","scanType":"node","schedule":{"cron":"0 0 * * * *","firstRun":"2026-01-01T12:00:05Z"}}])");
  update(R"([{"id":"a","scanType":"node","schedule":"0 0 * * * *"}])");
  tick();
  EXPECT_EQ(shown("Invoked Jobs"), "0");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 13:00:00"));
}

TEST_F(SchedulerUpdateTest, LastOfEqualIdsWins) {
  update(R"([{"id":"a","schedule":"0 0 1 * * *"},{"id":"b","schedule":"0 0 2 * * *"},
             {"id":"a","schedule":"0 0 3 * * *"}])");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-02 03:00:00", "Scheduled b at 2026-01-02 02:00:00"));
  EXPECT_THAT(takeOwnLines(),
              ElementsAre("Update received", "Parsed 3 jobs", "No running job to cancel", "Adding new scheduled job: a",
                          "Adding new scheduled job: b", "Updating scheduled job: a", "Update processed"));
}

TEST_F(SchedulerUpdateTest, DescriptionsWithoutAnIdAreOneJobToo) {
  update(R"([{"schedule":"0 0 1 * * *"},7,{"id":"","schedule":"0 0 3 * * *"}])");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled  at 2026-01-02 03:00:00"));
}

TEST_F(SchedulerUpdateTest, EmptyUpdateDeletesEveryJobAndCancelsTheRunningOne) {
  plan(R"([{"id":"once","schedule":{"firstRun":"now"}},
           {"id":"a","scanType":"node","schedule":{"cron":"0 0 * * * *","firstRun":"2026-01-01T12:00:01Z"}},
           {"id":"b","schedule":"0 0 3 * * *"}])");
  tick();
  tick();
  device_.log.clear();
  update("[]");
  EXPECT_THAT(takeOwnLines(),
              ElementsAre("Update received", "Parsed 0 jobs", "Cancelling running job: a", "Cancelling job: a",
                          "Job updated: a", "Deleting scheduled job: b", "Deleting scheduled job: a",
                          "Deleting scheduled job: a", "Deleting terminated job: once", "Update processed"));
  EXPECT_THAT(jobs(), IsEmpty());
  EXPECT_EQ(shown("Running Scan"), "no");
  device_.loop.settle();
  EXPECT_THAT(device_.shell.running(), IsEmpty());
}

TEST_F(SchedulerUpdateTest, RunningJobIsCancelledThoughItsDescriptionIsTheSame) {
  plan(HOURLY);
  tick();
  update(HOURLY);
  EXPECT_THAT(values_, ElementsAre("a running", "a cancelled"));
  EXPECT_EQ(shown("Cancelled Jobs"), "1");
}

TEST_F(SchedulerUpdateTest, TerminatedJobsGoWithTheNextUpdate) {
  plan(R"([{"id":"a","schedule":{"firstRun":"now"}}])");
  tick();
  EXPECT_EQ(shown("Terminated Scans"), "1");
  update(R"([{"id":"a","schedule":"0 0 3 * * *"}])");
  EXPECT_EQ(shown("Terminated Scans"), "0");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-02 03:00:00"));
}

// Kept on purpose; see the scheduler.
TEST_F(SchedulerUpdateTest, UpdateThatMeetsARunningJobLeavesTheOldDescriptionInItsSecondEntry) {
  plan(HOURLY);
  tick();
  update(R"([{"id":"a","scanType":"node","schedule":"0 30 12 * * *"}])");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 12:30:00", "Scheduled a at 2026-01-01 13:00:00"));
  EXPECT_EQ(shown("Scheduled Scans"), "2");
}

TEST_F(SchedulerUpdateTest, OldDescriptionThatIsDueFirstDisplacesTheNewOneFromTheList) {
  plan(HOURLY);
  tick();
  update(R"([{"id":"a","scanType":"node","schedule":"0 30 13 * * *","colour":"new"}])");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 13:30:00", "Scheduled a at 2026-01-01 13:00:00"));
  EXPECT_THAT(rowsOf(*scheduler_), testing::Contains("3,1 colour: new"));
  // What is taken off the list when the old one starts is the first entry of its id: the new one.
  device_.letScansTake(1s);
  device_.loop.advance(1h + 1min);
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 14:00:00", "Scheduled a at 2026-01-01 14:00:00"));
  EXPECT_THAT(rowsOf(*scheduler_), testing::Not(testing::Contains("3,1 colour: new")));
}

TEST_F(SchedulerUpdateTest, ClearBeforeTheUpdateLeavesNothingOfTheOldPlan) {
  plan(HOURLY);
  tick();
  scheduler_->clear();
  update(R"([{"id":"a","scanType":"node","schedule":"0 30 13 * * *"}])");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 13:30:00"));
}

TEST_F(SchedulerUpdateTest, StatusOfANewInvalidJobIsPublishedToNobody) {
  update(R"([{"id":"a"}])");
  EXPECT_THAT(values_, IsEmpty());
  EXPECT_TRUE(device_.log.capture().has("[Scheduled Job a] Job failed: Expecting schedule"));
}

TEST_F(SchedulerUpdateTest, WholeCourseOfAnUpdateThatMeetsARunningJob) {
  device_.log.setVerbosity(2);
  plan(HOURLY);
  tick();
  device_.log.clear();
  update(R"([{"id":"b","scanType":"node","schedule":"0 0 3 * * *"},{"id":"a"}])");
  device_.loop.settle();
  EXPECT_TRUE(equalsGolden(device_.log.takeLines(), "logs/update-meets-running-job.txt"));
}

// Jobs with the numbers from first on, the highest first.
Property::Value planOf(int first, int count) {
  Property::Value plan = Property::Value::array();
  for (int number = first + count; number-- > first;) {
    Property::Value description = json(R"({"scanType":"node","schedule":"0 0 3 * * *"})");
    description["id"] = String::format("%d", number);
    plan.add(description);
  }
  return plan;
}

TEST_F(SchedulerUpdateTest, LargePlanIsReplacedInProportionToItsSize) {
  struct Replacement {
    KXPtr<Scheduler> scheduler;
    Property::Value plan;
  };
  device_.log.setVerbosity(0);
  const auto effort = [this](int count) {
    const auto prepare = [&] {
      auto replacement = std::make_unique<Replacement>();
      replacement->scheduler = KXPtr<Scheduler>(new Scheduler(device_.loop, device_.repository));
      replacement->scheduler->updateJobDescriptions(planOf(0, count));
      replacement->plan = planOf(count / 2, count);
      return replacement;
    };
    return effortOf(prepare, [](Replacement& replacement) {
      replacement.scheduler->updateJobDescriptions(replacement.plan);
      replacement.scheduler->clear();
    });
  };
  EXPECT_LT(effort(16000), 20 * effort(2000));
}

}  // namespace
}  // namespace KX::NMS::Discovery
