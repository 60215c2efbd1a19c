// SPDX-License-Identifier: Apache-2.0
// What the scheduling does when the cron library answers as it hardly ever does.
#include "tests/discovery/scheduling/ScriptedSchedulerFixture.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ScriptedCronTest : public ScriptedSchedulerFixture {
 protected:
  KXPtr<ScheduledJob> make(const char* description) {
    return KXPtr<ScheduledJob>(new ScheduledJob(device_.loop, device_.repository, json(description)));
  }
};

constexpr const char* HOURLY = R"({"id":"a","scanType":"test","ends":"successful","schedule":"0 0 * * * *"})";

// Kept on purpose: the answer is used as it comes.
TEST_F(ScriptedCronTest, ScheduleThatMatchesNoMoreIsTakenForASecondBeforeTheEpoch) {
  const KXPtr<ScheduledJob> job = make(HOURLY);
  ScriptedJobs::cronNeverMatches = true;
  device_.log.clear();
  EXPECT_TRUE(job->reschedule());
  EXPECT_TRUE(job->nextRun().isValid());
  EXPECT_EQ(job->nextRun(), Clock(-1));
  EXPECT_TRUE(job->isDue());
  EXPECT_THAT(device_.log.takeLines(), ElementsAre("[Scheduled Job a] Reschedule with cron specification 0 0 * * * *",
                                                   "[Scheduled Job a] - Next scan: 1969-12-31 23:59:59"));
}

TEST_F(ScriptedCronTest, JobWhoseScheduleMatchesNoMoreStaysScheduledAndRunsAtEveryTick) {
  plan((std::string("[") + HOURLY + "]").c_str());
  device_.loop.advance(1h - TICK);
  ScriptedJobs::cronNeverMatches = true;
  device_.loop.advance(TICK * 4);
  EXPECT_EQ(shown("Invoked Jobs"), "3");
  EXPECT_THAT(jobs(), ElementsAre("Scheduled a at 1969-12-31 23:59:59"));
}

TEST_F(ScriptedCronTest, ScheduleThatNeverMatchesFromTheStartIsRefused) {
  ScriptedJobs::cronNeverMatches = true;
  const KXPtr<ScheduledJob> job = make(HOURLY);
  EXPECT_EQ(job->status().state(), State::FAILED);
  EXPECT_EQ(job->status().text(), "Cron specification 0 0 * * * * never matches");
  EXPECT_FALSE(job->nextRun().isValid());
}

TEST_F(ScriptedCronTest, ScheduleThatParsesNoMoreEndsWithoutAWord) {
  const KXPtr<ScheduledJob> job = make(HOURLY);
  ScriptedJobs::cronError = "Out of order";
  device_.log.clear();
  EXPECT_FALSE(job->reschedule());
  EXPECT_FALSE(job->nextRun().isValid());
  EXPECT_THAT(device_.log.takeLines(), ElementsAre("[Scheduled Job a] Reschedule with cron specification 0 0 * * * *"));
}

TEST_F(ScriptedCronTest, JobWhoseScheduleParsesNoMoreIsTerminated) {
  plan((std::string("[") + HOURLY + "]").c_str());
  device_.loop.advance(1h - TICK);
  ScriptedJobs::cronError = "Out of order";
  device_.loop.advance(TICK * 2);
  EXPECT_THAT(jobs(), ElementsAre("Terminated a at never"));
}

TEST_F(ScriptedCronTest, TextOfTheLibraryIsPartOfTheRefusal) {
  ScriptedJobs::cronError = "Out of order";
  EXPECT_EQ(make(HOURLY)->status().text(), "Invalid cron specification 0 0 * * * *: Out of order");
}

}  // namespace
}  // namespace KX::NMS::Discovery
