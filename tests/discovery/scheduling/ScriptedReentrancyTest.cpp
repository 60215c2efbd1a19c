// SPDX-License-Identifier: Apache-2.0
// What slots may do to a scheduler from inside its own calls.
#include "tests/discovery/scheduling/ScriptedSchedulerFixture.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ScriptedReentrancyTest : public ScriptedSchedulerFixture {
 protected:
  void startHourly() {
    plan(R"([{"id":"a","scanType":"test","schedule":{"cron":"0 0 * * * *","firstRun":"now"}}])");
    tick();
  }
  void finish() { ScriptedJobs::last()->succeed(Property::Value()); }
  static Property::Value otherPlan() { return json(R"([{"id":"b","scanType":"test","schedule":"0 0 3 * * *"}])"); }
};

TEST_F(ScriptedReentrancyTest, CancelInTheSlotOfTheStart) {
  inSlotOf("running", [this] { scheduler_->cancelRunningJob(); });
  startHourly();
  EXPECT_THAT(values_, ElementsAre("a running", "a cancelled"));
  EXPECT_EQ(shown("Running Scan"), "no");
  EXPECT_EQ(shown("Invoked Jobs"), "1");
  EXPECT_EQ(shown("Cancelled Jobs"), "1");
  EXPECT_EQ(shown("Terminated Jobs"), "1");
  EXPECT_EQ(shown("Scheduled Scans"), "2");
  EXPECT_EQ(device_.log.capture().count("Retiring job a.0"), 1U);
}

TEST_F(ScriptedReentrancyTest, CancelInTheSlotOfTheEndListsTheJobOnce) {
  inSlotOf("successful", [this] { scheduler_->cancelRunningJob(); });
  startHourly();
  finish();
  EXPECT_EQ(shown("Running Scan"), "no");
  EXPECT_EQ(shown("Cancelled Jobs"), "1");
  EXPECT_EQ(shown("Scheduled Scans"), "1");
}

TEST_F(ScriptedReentrancyTest, CancelInTheSlotOfTheCancel) {
  inSlotOf("cancelled", [this] { scheduler_->cancelRunningJob(); });
  startHourly();
  scheduler_->cancelRunningJob();
  EXPECT_EQ(shown("Running Scan"), "no");
  EXPECT_EQ(shown("Cancelled Jobs"), "2");
}

TEST_F(ScriptedReentrancyTest, UpdateInTheSlotOfTheStart) {
  inSlotOf("running", [this] { scheduler_->updateJobDescriptions(otherPlan()); });
  startHourly();
  EXPECT_THAT(jobs(), ElementsAre("Scheduled b at 2026-01-02 03:00:00"));
  EXPECT_EQ(shown("Running Scan"), "no");
  EXPECT_THAT(values_, ElementsAre("a running", "a cancelled"));
}

TEST_F(ScriptedReentrancyTest, UpdateInTheSlotOfTheEnd) {
  inSlotOf("successful", [this] { scheduler_->updateJobDescriptions(otherPlan()); });
  startHourly();
  finish();
  EXPECT_THAT(jobs(), ElementsAre("Scheduled b at 2026-01-02 03:00:00"));
  EXPECT_EQ(shown("Running Scan"), "no");
}

TEST_F(ScriptedReentrancyTest, UpdateInTheSlotOfAnUpdate) {
  bool isDone = false;
  inSlotOf("cancelled", [&] {
    if (std::exchange(isDone, true)) return;
    scheduler_->updateJobDescriptions(otherPlan());
  });
  startHourly();
  scheduler_->updateJobDescriptions(json(R"([{"id":"c","scanType":"test","schedule":"0 0 4 * * *"}])"));
  // The outer one is carried on afterwards, so its plan is the one that counts.
  EXPECT_THAT(jobs(), ElementsAre("Scheduled c at 2026-01-02 04:00:00"));
  EXPECT_EQ(shown("Updates Received"), "3");
}

TEST_F(ScriptedReentrancyTest, ClearInTheSlotOfTheStart) {
  inSlotOf("running", [this] { scheduler_->clear(); });
  startHourly();
  EXPECT_THAT(jobs(), IsEmpty());
  EXPECT_EQ(shown("Running Scan"), "no");
  device_.loop.advance(2h);
  EXPECT_EQ(shown("Invoked Jobs"), "1");
}

TEST_F(ScriptedReentrancyTest, ClearInTheSlotOfTheEnd) {
  inSlotOf("successful", [this] { scheduler_->clear(); });
  startHourly();
  finish();
  EXPECT_THAT(jobs(), IsEmpty());
}

TEST_F(ScriptedReentrancyTest, ClearInTheSlotOfTheCancel) {
  inSlotOf("cancelled", [this] { scheduler_->clear(); });
  startHourly();
  scheduler_->cancelRunningJob();
  EXPECT_THAT(jobs(), IsEmpty());
  EXPECT_EQ(shown("Running Scan"), "no");
}

TEST_F(ScriptedReentrancyTest, CheckInTheSlotOfTheEndStartsNothing) {
  plan(R"([{"id":"a","scanType":"test","schedule":{"firstRun":"now"}},
           {"id":"b","scanType":"test","schedule":{"firstRun":"now"}}])");
  tick();
  inSlotOf("successful", [this] { scheduler_->checkStartNextJob(); });
  device_.log.clear();
  finish();
  EXPECT_THAT(takeOwnLines(), ElementsAre("Job updated: a", "Scan is running: a"));
  EXPECT_EQ(shown("Running Scan"), "no");
  tick();
  EXPECT_EQ(values_.back(), "b running");
}

TEST_F(ScriptedReentrancyTest, ClearUpdateAndStartInTheSlotOfTheEndRunTheNewPlan) {
  inSlotOf("successful", [this] {
    scheduler_->clear();
    scheduler_->updateJobDescriptions(
        json(R"([{"id":"b","scanType":"test","schedule":{"firstRun":"2025-01-01T00:00:00Z"}}])"));
    scheduler_->checkStartNextJob();
  });
  startHourly();
  finish();
  EXPECT_EQ(shown("Running Scan"), "yes");
  EXPECT_EQ(values_.back(), "b running");
  EXPECT_EQ(shown("Terminated Jobs"), "0");
}

class DestroyedInASlot : public ScriptedReentrancyTest, public testing::WithParamInterface<const char*> {};

TEST_P(DestroyedInASlot, SchedulerMayBeReleasedInItsSlot) {
  const std::string status = GetParam();
  inSlotOf(GetParam(), [this] { scheduler_.reset(); });
  plan(R"([{"id":"a","scanType":"test","schedule":{"cron":"0 0 * * * *","firstRun":"now"}},
           {"id":"b","scanType":"test","schedule":"0 0 3 * * *"}])");
  tick();
  if (status == "successful") finish();
  if (status == "failed") ScriptedJobs::last()->fail("why");
  if (status == "cancelled") scheduler_->updateJobDescriptions(otherPlan());
  EXPECT_EQ(scheduler_, nullptr);
  EXPECT_TRUE(ScriptedJobs::last()->status().isFinished());
  EXPECT_TRUE(device_.log.capture().has("[Scheduled Job b] Destroyed"));
  device_.log.clear();
  device_.loop.advance(24h);
  EXPECT_THAT(device_.log.takeLines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Of, DestroyedInASlot, testing::Values("running", "successful", "failed", "cancelled"),
                         [](const auto& status) { return std::string(status.param); });

TEST_F(ScriptedReentrancyTest, SchedulerMayBeReleasedInItsSlotByClearAndByCancel) {
  for (const bool byClear : {true, false}) {
    if (!byClear) scheduler_ = KXPtr<Scheduler>(new Scheduler(device_.loop, device_.repository));
    startHourly();
    inSlotOf("cancelled", [this] { scheduler_.reset(); });
    Scheduler* scheduler = scheduler_.get();
    byClear ? scheduler->clear() : scheduler->cancelRunningJob();
    EXPECT_EQ(scheduler_, nullptr);
  }
}

TEST_F(ScriptedReentrancyTest, SlotMayDisconnectItself) {
  std::size_t handle = 0;
  int calls = 0;
  handle = scheduler_->statusUpdated.connect(Function<void(Property::Value)>([&](Property::Value) {
    ++calls;
    scheduler_->statusUpdated.disconnect(handle);
  }));
  startHourly();
  finish();
  EXPECT_EQ(calls, 1);
  EXPECT_THAT(values_, ElementsAre("a running", "a successful"));
}

}  // namespace
}  // namespace KX::NMS::Discovery
