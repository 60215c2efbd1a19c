// SPDX-License-Identifier: Apache-2.0
// Plans over days.
#include "tests/discovery/common/Golden.h"
#include "tests/discovery/scheduling/SchedulerFixture.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;

class SchedulerPlanTest : public SchedulerFixture {
 protected:
  SchedulerPlanTest() : SchedulerFixture(1) {}

  // Time and scheduled job of every start since the last call.
  void recordStarts() {
    scheduler_->statusUpdated.connect(Function<void(Property::Value)>([this](Property::Value value) {
      if (value["status"].toString() != "running") return;
      starts_.push_back(std::string(device_.loop.now().toString(Clock::HUMAN).c_str()) + " " +
                        value["id"].toString().c_str());
    }));
  }

  std::vector<std::string> starts_;
};

TEST_F(SchedulerPlanTest, NightlyJobRunsEachNightAtTheTickAfterItsTime) {
  plan(R"([{"id":"nightly","scanType":"node","schedule":"0 0 3 * * *"}])");
  device_.letScansTake(24s);
  recordStarts();
  device_.loop.advance(24h * 3);
  EXPECT_THAT(starts_,
              ElementsAre("2026-01-02 03:00:15 nightly", "2026-01-03 03:00:15 nightly", "2026-01-04 03:00:15 nightly"));
  device_.loop.advance(24h * 27);
  EXPECT_EQ(starts_.size(), 30U);
  EXPECT_EQ(shown("Invoked Jobs"), "30");
  EXPECT_EQ(shown("Terminated Jobs"), "30");
  EXPECT_EQ(shown("Scheduled Scans"), "1");
}

TEST_F(SchedulerPlanTest, JobsThatCollideRunOneAfterAnother) {
  plan(R"([{"id":"a","scanType":"node","schedule":"0 0 * * * *"},
           {"id":"b","scanType":"node","schedule":"0 0 * * * *"},
           {"id":"c","scanType":"node","schedule":"0 0 */2 * * *"}])");
  device_.letScansTake(20s);
  recordStarts();
  device_.loop.advance(2h + 5min);
  EXPECT_THAT(starts_, ElementsAre("2026-01-01 13:00:15 a", "2026-01-01 13:01:00 b", "2026-01-01 14:00:15 c",
                                   "2026-01-01 14:01:00 a", "2026-01-01 14:01:45 b"));
}

TEST_F(SchedulerPlanTest, RunsThatAreMissedAreNotMadeUpFor) {
  plan(R"([{"id":"a","scanType":"node","schedule":"*/5 * * * * *"}])");
  device_.letScansTake(1min);
  recordStarts();
  device_.loop.advance(10min);
  // Two minutes of scans, and the next tick that comes after a next run.
  EXPECT_EQ(starts_.size(), 5U);
  EXPECT_EQ(starts_[0], "2026-01-01 12:00:15 a");
  EXPECT_EQ(starts_[1], "2026-01-01 12:02:30 a");
}

TEST_F(SchedulerPlanTest, ClockThatIsSetForwardMakesJobsDue) {
  plan(R"([{"id":"nightly","scanType":"node","schedule":"0 0 3 * * *"}])");
  device_.refuseScans();
  recordStarts();
  device_.loop.setNow(Clock("2026-06-01T00:00:00Z"_s, Clock::UTC, 0));
  tick();
  EXPECT_THAT(starts_, ElementsAre("2026-06-01 00:00:15 nightly"));
  EXPECT_THAT(jobs(), ElementsAre("Scheduled nightly at 2026-06-01 03:00:00"));
}

TEST_F(SchedulerPlanTest, ManyJobsThatEndAtOnceRunOneATick) {
  Property::Value descriptions = Property::Value::array();
  for (int i = 0; i < 200; ++i) {
    Property::Value description = json(R"({"scanType":"node","schedule":{"firstRun":"now"}})");
    description["id"] = String::format("job-%d", i);
    descriptions.add(description);
  }
  scheduler_->updateJobDescriptions(descriptions);
  device_.refuseScans();
  device_.loop.advance(TICK * 199);
  EXPECT_EQ(shown("Invoked Jobs"), "199");
  device_.loop.advance(TICK * 10);
  EXPECT_EQ(shown("Invoked Jobs"), "200");
  EXPECT_EQ(shown("Terminated Scans"), "200");
}

TEST_F(SchedulerPlanTest, FoundNodesAreInTheRepositoryWhenTheSuccessIsPublished) {
  plan(R"([{"id":"a","scanType":"node","schedule":{"firstRun":"now"}}])");
  device_.letScansTake(24s);
  std::size_t nodesAtSuccess = 0;
  scheduler_->statusUpdated.connect(Function<void(Property::Value)>([&](Property::Value value) {
    if (value["status"].toString() == "successful") nodesAtSuccess = device_.repository.getNodes().size();
  }));
  device_.loop.advance(2min);
  EXPECT_EQ(nodesAtSuccess, 1U);
}

TEST_F(SchedulerPlanTest, CourseOfAMorning) {
  scheduler_->updateJobDescriptions(json(R"([
      {"id":"hourly","scanType":"node","schedule":"0 0 * * * *"},
      {"id":"once","scanType":"node","schedule":{"firstRun":"now"}},
      {"id":"strange","scanType":"Node","schedule":{"cron":"30 10 * * *","firstRun":"2026-01-01T12:30:00Z"}},
      {"id":"broken","scanType":"node","schedule":"never"}])"));
  device_.letScansTake(24s);
  device_.loop.advance(2h);
  scheduler_->clear();
  EXPECT_TRUE(equalsGolden(device_.log.takeLines(), "logs/plan-of-a-morning.txt"));
}

}  // namespace
}  // namespace KX::NMS::Discovery
