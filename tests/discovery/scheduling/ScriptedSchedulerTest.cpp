// SPDX-License-Identifier: Apache-2.0
#include "tests/discovery/scheduling/ScriptedSchedulerFixture.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ScriptedSchedulerTest : public ScriptedSchedulerFixture {};

TEST_F(ScriptedSchedulerTest, JobThatFailsIsReportedCountedAndRescheduled) {
  plan(R"([{"id":"a","scanType":"test","ends":"failed","schedule":{"cron":"0 0 * * * *","firstRun":"now"}}])");
  tick();
  EXPECT_THAT(values_, ElementsAre("a running", "a failed"));
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 2026-01-01 13:00:00"));
  EXPECT_EQ(shown("Invoked Jobs"), "1");
  EXPECT_EQ(shown("Terminated Jobs"), "1");
  EXPECT_EQ(shown("Cancelled Jobs"), "0");
}

TEST_F(ScriptedSchedulerTest, PublishedValueIsTheScheduledJobs) {
  plan(R"([{"id":"a","scanType":"test","ends":"failed","schedule":{"firstRun":"now"},"status":"mine"}])");
  std::vector<std::string> published;
  scheduler_->statusUpdated.connect(
      Function<void(Property::Value)>([&](Property::Value value) { published.emplace_back(value.toJson().c_str()); }));
  tick();
  EXPECT_EQ(published.back(),
            R"({"id":"a","scanType":"test","ends":"failed","schedule":{"firstRun":"now"},"status":"failed",)"
            R"("reason":"as it was told"})");
}

TEST_F(ScriptedSchedulerTest, JobNumbersHaveGapsWhereAJobWasNotNeeded) {
  plan(R"([{"id":"a","scanType":"test","needed":false,"schedule":{"cron":"* * * * * *","firstRun":"now"}}])");
  device_.loop.advance(TICK * 3);
  EXPECT_THAT(ScriptedJobs::attempts, ElementsAre("test a.0", "test a.1", "test a.2"));
  EXPECT_EQ(shown("Invoked Jobs"), "0");
}

TEST_F(ScriptedSchedulerTest, StatusOfAJobThatHasLeftTheSchedulerIsIgnored) {
  plan(R"([{"id":"a","scanType":"test","schedule":{"firstRun":"now"}}])");
  tick();
  const KXPtr<TestJob> job = ScriptedJobs::last();
  scheduler_->clear();
  values_.clear();
  device_.log.clear();
  job->notify();
  EXPECT_THAT(values_, IsEmpty());
  EXPECT_THAT(takeOwnLines(), IsEmpty());
}

TEST_F(ScriptedSchedulerTest, ListedJobThatRunsOnIsPassedOverUntilItHasEnded) {
  plan(R"([{"id":"a","scanType":"test","stubborn":true,"schedule":{"cron":"* * * * * *","firstRun":"now"}}])");
  tick();
  scheduler_->cancelRunningJob();
  EXPECT_EQ(shown("Running Scan"), "no");
  EXPECT_EQ(shown("Terminated Jobs"), "0");
  device_.log.clear();
  device_.loop.advance(TICK * 4);
  EXPECT_THAT(device_.log.takeLines(), IsEmpty());
  values_.clear();
  ScriptedJobs::last()->succeed(Property::Value());
  EXPECT_THAT(values_, IsEmpty());
  tick();
  EXPECT_THAT(values_, ElementsAre("a running"));
  EXPECT_EQ(ScriptedJobs::last()->id(), "a.1");
}

TEST_F(ScriptedSchedulerTest, WithoutAListenerJobsRunAllTheSame) {
  const KXPtr<Scheduler> unheard(new Scheduler(device_.loop, device_.repository));
  unheard->updateJobDescriptions(
      json(R"([{"id":"a","scanType":"test","ends":"successful","schedule":{"firstRun":"now"}}])"));
  tick();
  ASSERT_NE(ScriptedJobs::last(), nullptr);
  EXPECT_EQ(ScriptedJobs::last()->status().state(), State::SUCCESSFUL);
}

TEST_F(ScriptedSchedulerTest, UpdatesOfARunningJobAreForwardedEachWithItsLine) {
  plan(R"([{"id":"a","scanType":"test","schedule":{"firstRun":"now"}}])");
  tick();
  device_.log.clear();
  values_.clear();
  for (int i = 0; i < 3; ++i) ScriptedJobs::last()->notify();
  EXPECT_THAT(values_, ElementsAre("a running", "a running", "a running"));
  EXPECT_THAT(takeOwnLines(), ElementsAre("Job updated: a", "Job updated: a", "Job updated: a"));
}

}  // namespace
}  // namespace KX::NMS::Discovery
