// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include "tests/discovery/scheduling/SchedulerFixture.h"
#include "tests/discovery/scheduling/ScriptedJobs.h"

namespace KX::NMS::Discovery {

// The same with scripted jobs, and with slots that act.
class ScriptedSchedulerFixture : public SchedulerFixture {
 protected:
  ScriptedSchedulerFixture() { ScriptedJobs::reset(); }
  ~ScriptedSchedulerFixture() override {
    scheduler_.reset();
    ScriptedJobs::reset();
  }

  // Runs the action each time that a job is published in the given state.
  void inSlotOf(const char* status, std::function<void()> action) {
    scheduler_->statusUpdated.connect(
        Function<void(Property::Value)>([status, action = std::move(action)](Property::Value value) {
          if (value["status"].toString() == status) action();
        }));
  }
};

}  // namespace KX::NMS::Discovery
