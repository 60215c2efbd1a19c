// SPDX-License-Identifier: Apache-2.0
#include "tests/discovery/scheduling/ScriptedSchedulerFixture.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ScriptedScheduledJobTest : public ScriptedSchedulerFixture {
 protected:
  KXPtr<ScheduledJob> make(const char* description) {
    const KXPtr<ScheduledJob> job(new ScheduledJob(device_.loop, device_.repository, json(description)));
    job->statusUpdated.connect(Function<void(Property::Value)>(
        [this](Property::Value value) { published_.emplace_back(value["status"].toString().c_str()); }));
    device_.log.clear();
    return job;
  }
  std::vector<std::string> published_;
};

constexpr const char* TEST_TYPE = R"({"id":"a","scanType":"test","schedule":"0 0 3 * * *"})";

TEST_F(ScriptedScheduledJobTest, ScanTypeAndDescriptionArePassedOnAsTheyAre) {
  const KXPtr<ScheduledJob> job = make(R"({"id":"a","scanType":"Te st","schedule":"0 0 3 * * *","x":1})");
  EXPECT_TRUE(job->invoke());
  EXPECT_THAT(ScriptedJobs::attempts, ElementsAre("Te st a.0"));
  EXPECT_EQ(ScriptedJobs::last()->toPropertyValue()["x"].toIntOr(0), 1);
}

TEST_F(ScriptedScheduledJobTest, AttemptsOfUnknownTypeUseUpNumbersToo) {
  const KXPtr<ScheduledJob> job = make(R"({"id":"a","scanType":"unknown","schedule":"0 0 3 * * *"})");
  EXPECT_FALSE(job->invoke());
  EXPECT_FALSE(job->invoke());
  EXPECT_THAT(ScriptedJobs::attempts, ElementsAre("unknown a.0", "unknown a.1"));
}

TEST_F(ScriptedScheduledJobTest, RefusedInvokeUsesUpNoNumber) {
  const KXPtr<ScheduledJob> job = make(TEST_TYPE);
  EXPECT_TRUE(job->invoke());
  EXPECT_FALSE(job->invoke());
  job->cancel();
  EXPECT_TRUE(job->invoke());
  EXPECT_THAT(ScriptedJobs::attempts, ElementsAre("test a.0", "test a.1"));
}

TEST_F(ScriptedScheduledJobTest, FailureOfTheJobIsMirroredWithItsText) {
  const KXPtr<ScheduledJob> job = make(TEST_TYPE);
  EXPECT_TRUE(job->invoke());
  ScriptedJobs::last()->fail("why");
  EXPECT_EQ(job->status().state(), State::FAILED);
  EXPECT_EQ(job->status().text(), "why");
  EXPECT_THAT(published_, ElementsAre("running", "failed"));
  EXPECT_TRUE(job->invoke());
  EXPECT_EQ(job->status().text(), "");
}

TEST_F(ScriptedScheduledJobTest, ValueOfTheJobIsNotWhatIsPublished) {
  const KXPtr<ScheduledJob> job = make(TEST_TYPE);
  EXPECT_TRUE(job->invoke());
  EXPECT_EQ(ScriptedJobs::last()->toPropertyValue()["richer"].toBoolOr(false), true);
  EXPECT_EQ(job->toPropertyValue().find("richer"), nullptr);
}

TEST_F(ScriptedScheduledJobTest, UpdateWithoutAChangeOfStateIsPublishedToo) {
  const KXPtr<ScheduledJob> job = make(TEST_TYPE);
  EXPECT_TRUE(job->invoke());
  ScriptedJobs::last()->notify();
  EXPECT_THAT(published_, ElementsAre("running", "running"));
}

TEST_F(ScriptedScheduledJobTest, UpdateOfAJobThatIsRetiredIsOnlyLogged) {
  const KXPtr<ScheduledJob> job = make(TEST_TYPE);
  EXPECT_TRUE(job->invoke());
  ScriptedJobs::last()->succeed(Property::Value());
  device_.log.clear();
  published_.clear();
  ScriptedJobs::last()->notify();
  EXPECT_THAT(device_.log.takeKindsAndLines(), ElementsAre("1 [Scheduled Job a] Job update"));
  EXPECT_THAT(published_, IsEmpty());
}

TEST_F(ScriptedScheduledJobTest, UpdateOfAJobThatOutlivesItsScheduledJobReachesNobody) {
  KXPtr<ScheduledJob> job = make(TEST_TYPE);
  EXPECT_TRUE(job->invoke());
  job.reset();
  device_.log.clear();
  ScriptedJobs::last()->notify();
  EXPECT_THAT(device_.log.takeLines(), IsEmpty());
}

TEST_F(ScriptedScheduledJobTest, JobCancelledAsItStartsIsRetiredOnce) {
  const KXPtr<ScheduledJob> job = make(TEST_TYPE);
  job->statusUpdated.connect(Function<void(Property::Value)>([&](Property::Value) {
    if (job->status().isRunning()) job->cancel();
  }));
  EXPECT_TRUE(job->invoke());
  EXPECT_EQ(job->runningJob(), nullptr);
  ASSERT_NE(job->terminatedJob(), nullptr);
  EXPECT_EQ(job->terminatedJob()->id(), "a.0");
  EXPECT_EQ(job->status().state(), State::CANCELLED);
  EXPECT_EQ(device_.log.capture().count("Retiring job a.0"), 1U);
}

TEST_F(ScriptedScheduledJobTest, InvokeInTheSlotOfTheEndIsRefused) {
  const KXPtr<ScheduledJob> job = make(TEST_TYPE);
  bool wasStarted = true;
  job->statusUpdated.connect(Function<void(Property::Value)>([&](Property::Value) {
    if (job->status().isFinished()) wasStarted = job->invoke();
  }));
  EXPECT_TRUE(job->invoke());
  ScriptedJobs::last()->succeed(Property::Value());
  EXPECT_FALSE(wasStarted);
  EXPECT_EQ(job->status().state(), State::SUCCESSFUL);
  EXPECT_EQ(job->runningJob(), nullptr);
}

TEST_F(ScriptedScheduledJobTest, ScheduledJobMayBeReleasedInItsOwnSlot) {
  for (const char* status : {"running", "successful", "cancelled"}) {
    KXPtr<ScheduledJob> job = make(TEST_TYPE);
    job->statusUpdated.connect(Function<void(Property::Value)>([&](Property::Value value) {
      if (value["status"].toString() == status) job.reset();
    }));
    const KXPtr<ScheduledJob> caller = job;
    EXPECT_TRUE(caller->invoke());
    if (std::string(status) == "successful") ScriptedJobs::last()->succeed(Property::Value());
    if (std::string(status) == "cancelled") caller->cancel();
    EXPECT_EQ(job, nullptr);
  }
}

TEST_F(ScriptedScheduledJobTest, OnlyTheJobHoldsOnToAScheduledJobThatItsSlotReleases) {
  KXPtr<ScheduledJob> job = make(TEST_TYPE);
  job->statusUpdated.connect(Function<void(Property::Value)>([&](Property::Value value) {
    if (value["status"].toString() == "successful") job.reset();
  }));
  EXPECT_TRUE(job->invoke());
  device_.log.clear();
  ScriptedJobs::last()->succeed(Property::Value());
  EXPECT_EQ(job, nullptr);
  EXPECT_EQ(device_.log.takeLines().back(), "[Scheduled Job a] Destroyed");
}

// Whatever ends it, the operation that publishes comes to its own end before the object goes.
TEST_F(ScriptedScheduledJobTest, SlotMayReleaseTheScheduledJob) {
  for (const char* status : {"running", "successful", "cancelled"}) {
    ScheduledJob* job = nullptr;
    {
      KXPtr<ScheduledJob> held = make(R"({"id":"a","scanType":"test","ends":"successful","schedule":"0 0 3 * * *"})");
      if (std::string(status) == "cancelled") held = make(TEST_TYPE);
      job = held.get();
      job->statusUpdated.connect(Function<void(Property::Value)>([&held, status](Property::Value value) {
        if (value["status"].toString() == status) held.reset();
      }));
      EXPECT_TRUE(job->invoke());
      if (held != nullptr) job->cancel();
      EXPECT_EQ(held, nullptr) << status;
    }
    const std::vector<std::string> lines = device_.log.takeLines();
    EXPECT_THAT(lines.back(), "[Scheduled Job a] Destroyed") << status;
    if (std::string(status) != "cancelled") continue;
    ASSERT_GT(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 3], "[Scheduled Job a] Cancelled");
  }
}

}  // namespace
}  // namespace KX::NMS::Discovery
