// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "discovery/scheduling/Job.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/discovery/common/DiscoveryLog.h"
#include "tests/discovery/common/Json.h"
#include "tests/discovery/common/Rows.h"
#include "tests/discovery/scheduling/TestJob.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class JobTest : public testing::Test {
 protected:
  KXPtr<TestJob> make(const char* description = R"({"id":"a","scanType":"node"})", unsigned number = 0) {
    return KXPtr<TestJob>(new TestJob(loop_, repository_, "a", number, json(description)));
  }
  void connect(const KXPtr<TestJob>& job) {
    job->statusUpdated.connect(Function<void(Property::Value)>(
        [this](Property::Value value) { values_.emplace_back(value.toJson().c_str()); }));
  }

  DiscoveryLog log_;
  Testing::VirtualEventLoop loop_;
  Repository repository_;
  std::vector<std::string> values_;
};

TEST_F(JobTest, IdIsNameAndNumberAndThePrefixNamesIt) {
  const KXPtr<TestJob> job = make();
  EXPECT_EQ(job->id(), "a.0");
  EXPECT_EQ(job->logPrefix(), "[Job a.0] ");
  EXPECT_EQ(job->status().state(), State::IDLE);
  EXPECT_EQ(make("{}", 4294967295U)->id(), "a.4294967295");
}

TEST_F(JobTest, SuccessIsLoggedKeptAndPublished) {
  const KXPtr<TestJob> job = make();
  connect(job);
  job->start();
  job->succeed(json(R"({"nodes":[]})"));
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("2 [Job a.0] State changed to running", "5 [Job a.0] Job succeeded",
                                                    "2 [Job a.0] State changed to successful"));
  EXPECT_EQ(job->status().result().toJson(), R"({"nodes":[]})");
  EXPECT_THAT(values_, ElementsAre(R"({"id":"a","scanType":"node","status":"running","richer":true})",
                                   R"({"id":"a","scanType":"node","status":"successful","richer":true})"));
}

TEST_F(JobTest, FailureIsLoggedKeptAndPublished) {
  const KXPtr<TestJob> job = make();
  connect(job);
  job->fail("No such device");
  EXPECT_THAT(log_.takeKindsAndLines(),
              ElementsAre("5 [Job a.0] Job failed: No such device", "2 [Job a.0] State changed to failed"));
  EXPECT_EQ(job->status().text(), "No such device");
  EXPECT_THAT(values_,
              ElementsAre(R"({"id":"a","scanType":"node","status":"failed","reason":"No such device","richer":true})"));
}

TEST_F(JobTest, FailureWithACodeHasTheTextOfTheCode) {
  const KXPtr<TestJob> job = make();
  job->failWithCode(XCode::fromErrno(ENOENT));
  EXPECT_EQ(job->status().text(), "No such file or directory");
  const KXPtr<TestJob> other = make();
  other->failWithCode(XCode(1));
  EXPECT_EQ(other->status().text(), "Error");
  EXPECT_TRUE(log_.capture().has(RTD::OUTCOME, "[Job a.0] Job failed: Error"));
}

TEST_F(JobTest, SecondEndIsLoggedAndPublishesNothing) {
  const KXPtr<TestJob> job = make();
  job->start();
  job->cancel();
  connect(job);
  log_.clear();
  job->succeed(Property::Value());
  EXPECT_THAT(log_.takeLines(), ElementsAre("[Job a.0] Job succeeded"));
  job->fail("late");
  EXPECT_THAT(log_.takeLines(), ElementsAre("[Job a.0] Job failed: late"));
  EXPECT_THAT(values_, IsEmpty());
  EXPECT_EQ(job->status().state(), State::CANCELLED);
  EXPECT_EQ(job->status().text(), "");
}

TEST_F(JobTest, StatusWinsOverTheSameKeyOfTheDescription) {
  const KXPtr<TestJob> job = make(R"({"status":"mine","id":"a","reason":"mine"})");
  EXPECT_EQ(job->toPropertyValue().toJson(), R"({"status":"idle","id":"a","reason":"mine","richer":true})");
  job->fail("why");
  EXPECT_EQ(job->toPropertyValue().toJson(), R"({"status":"failed","id":"a","reason":"why","richer":true})");
}

TEST_F(JobTest, DescriptionIsACopy) {
  Property::Value description = json(R"({"id":"a"})");
  const KXPtr<TestJob> job(new TestJob(loop_, repository_, "a", 0, description));
  description["id"] = "b";
  EXPECT_EQ(job->toPropertyValue()["id"].toString(), "a");
}

TEST_F(JobTest, DescriptionThatIsNoObjectGivesTheStatusAlone) {
  EXPECT_EQ(make("7")->toPropertyValue()["status"].toString(), "idle");
}

TEST_F(JobTest, JobThatNobodyHearsRunsAllTheSame) {
  const KXPtr<TestJob> job = make();
  job->start();
  job->succeed(Property::Value());
  EXPECT_EQ(job->status().state(), State::SUCCESSFUL);
}

TEST_F(JobTest, StateWithoutANameIsLoggedAsNothing) {
  const KXPtr<TestJob> job = make();
  job->enterState(static_cast<State>(9));
  EXPECT_THAT(log_.takeLines(), ElementsAre("[Job a.0] State changed to "));
}

TEST_F(JobTest, StateChangesAreLoggedAtLevelTwoAndOutcomesAlways) {
  log_.setVerbosity(1);
  const KXPtr<TestJob> job = make();
  job->start();
  job->succeed(Property::Value());
  EXPECT_THAT(log_.takeKindsAndLines(), ElementsAre("5 [Job a.0] Job succeeded"));
}

TEST_F(JobTest, RowsAreTheIdAndBelowItTheStatus) {
  const KXPtr<TestJob> job = make();
  job->fail("why");
  EXPECT_THAT(rowsOf(*job, {.level = 2, .column = 1}, "Running "),
              ElementsAre("2,1 Running Job Instance: a.0", "3,1 Status: failed", "3,1 Reason: why"));
}

TEST_F(JobTest, RowsBeyondTheLimitsAreLeftOut) {
  const KXPtr<TestJob> job = make();
  EXPECT_THAT(rowsOf(*job, {.maxLevel = 1, .level = 2}), IsEmpty());
  EXPECT_THAT(rowsOf(*job, {.maxLevel = 2, .level = 2}), ElementsAre("2,0 Job Instance: a.0"));
  EXPECT_THAT(rowsOf(*job, {.maxColumn = 0, .column = 1}), IsEmpty());
}

TEST_F(JobTest, JobMayBeReleasedInItsOwnSlot) {
  KXPtr<TestJob> job = make();
  TestJob* raw = job.get();
  job->statusUpdated.connect(Function<void(Property::Value)>([&](Property::Value) { job.reset(); }));
  connect(job);
  raw->fail("why");
  EXPECT_EQ(job, nullptr);
  // The emission ended with the job.
  EXPECT_THAT(values_, IsEmpty());
}

TEST_F(JobTest, JobMayBeCancelledAsItStarts) {
  const KXPtr<TestJob> job = make();
  job->statusUpdated.connect(Function<void(Property::Value)>([&](Property::Value) { job->cancel(); }));
  connect(job);
  job->start();
  EXPECT_EQ(job->status().state(), State::CANCELLED);
  // The inner change is heard of first.
  EXPECT_THAT(values_, ElementsAre(testing::HasSubstr("cancelled"), testing::HasSubstr("running")));
}

}  // namespace
}  // namespace KX::NMS::Discovery
