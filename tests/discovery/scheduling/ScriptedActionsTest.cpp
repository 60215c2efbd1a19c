// SPDX-License-Identifier: Apache-2.0
// Every sequence of three actions in a slot, in every state that it can hear of, whatever ended the job.
#include <algorithm>
#include <array>

#include "tests/discovery/scheduling/ScriptedSchedulerFixture.h"

namespace KX::NMS::Discovery {
namespace {

enum class Action { START, CANCEL, UPDATE, UPDATE_OTHER, CLEAR, DESTROY };
constexpr std::array ACTIONS{Action::START,        Action::CANCEL, Action::UPDATE,
                             Action::UPDATE_OTHER, Action::CLEAR,  Action::DESTROY};

struct Course {
  const char* heard;  // the state in whose slot the actions are taken
  Action cause;       // of a cancelled end
};

std::string nameOf(const testing::TestParamInfo<Course>& course) {
  const std::string heard = course.param.heard;
  if (heard != "cancelled") return heard;
  if (course.param.cause == Action::CANCEL) return heard + "ByCancel";
  return heard + (course.param.cause == Action::CLEAR ? "ByClear" : "ByUpdate");
}

class ScriptedActionsTest : public ScriptedSchedulerFixture, public testing::WithParamInterface<Course> {
 protected:
  void act(Action action) {
    // The operations of a scheduler that has been let go are not to be called.
    if (scheduler_ == nullptr) return;
    switch (action) {
      case Action::START:
        return scheduler_->checkStartNextJob();
      case Action::CANCEL:
        return scheduler_->cancelRunningJob();
      case Action::UPDATE:
        return scheduler_->updateJobDescriptions(planOf("a", "b"));
      case Action::UPDATE_OTHER:
        return scheduler_->updateJobDescriptions(planOf("c", "d"));
      case Action::CLEAR:
        return scheduler_->clear();
      case Action::DESTROY:
        return scheduler_.reset();
    }
  }
  // Two jobs that are due at once and every hour.
  static Property::Value planOf(const char* first, const char* second) {
    constexpr const char* JOB =
        R"({"id":"%s","scanType":"test","schedule":{"cron":"0 0 * * * *","firstRun":"2025-01-01T00:00:00Z"}})";
    const String one = String::format(JOB, first);
    return json(String::format("[%s,%s]", one.c_str(), String::format(JOB, second).c_str()).c_str());
  }
  // Lets the first job come to the state in whose slot the actions are taken.
  void run(const std::vector<Action>& actions) {
    scheduler_ = KXPtr<Scheduler>(new Scheduler(device_.loop, device_.repository));
    bool hasActed = false;
    const auto listen = [&](Property::Value value) {
      published_.emplace_back(value["status"].toString().c_str());
      if (published_.back() != GetParam().heard || std::exchange(hasActed, true)) return;
      for (const Action action : actions) act(action);
    };
    scheduler_->statusUpdated.connect(Function<void(Property::Value)>(listen));
    scheduler_->updateJobDescriptions(planOf("a", "b"));
    scheduler_->checkStartNextJob();
    const std::string heard = GetParam().heard;
    if (heard == "successful") ScriptedJobs::last()->succeed(Property::Value());
    if (heard == "failed") ScriptedJobs::last()->fail("why"_s);
    if (heard == "cancelled") act(GetParam().cause);
    EXPECT_TRUE(hasActed);
    check();
    if (scheduler_ != nullptr) scheduler_->clear();
    check();
    scheduler_.reset();
  }
  // Who has heard of a start hears of the end, and what runs is what the scheduler shows.
  void check() const {
    const auto runs = [](const KXPtr<TestJob>& job) { return job->status().isRunning(); };
    const auto running = std::count_if(ScriptedJobs::made.begin(), ScriptedJobs::made.end(), runs);
    if (scheduler_ == nullptr) {
      EXPECT_EQ(running, 0);
      return;
    }
    const auto begun = std::count(published_.begin(), published_.end(), "running");
    EXPECT_EQ(begun - (static_cast<std::ptrdiff_t>(published_.size()) - begun), running);
    EXPECT_EQ(shown("Running Scan"), running == 1 ? "yes" : "no");
  }

  std::vector<std::string> published_;
};

TEST_P(ScriptedActionsTest, LoseNoJob) {
  for (const Action first : ACTIONS) {
    for (const Action second : ACTIONS) {
      for (const Action third : ACTIONS) {
        SCOPED_TRACE(testing::Message() << int(first) << ", " << int(second) << ", " << int(third));
        ScriptedJobs::reset();
        published_.clear();
        run({first, second, third});
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(InTheSlotOf, ScriptedActionsTest,
                         testing::Values(Course{"running", {}}, Course{"successful", {}}, Course{"failed", {}},
                                         Course{"cancelled", Action::CANCEL}, Course{"cancelled", Action::UPDATE},
                                         Course{"cancelled", Action::CLEAR}),
                         nameOf);

}  // namespace
}  // namespace KX::NMS::Discovery
