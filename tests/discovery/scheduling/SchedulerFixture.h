// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "discovery/scheduling/Scheduler.h"
#include "tests/discovery/common/Json.h"
#include "tests/discovery/common/Rows.h"
#include "tests/discovery/scheduling/Device.h"

namespace KX::NMS::Discovery {

using namespace std::chrono_literals;

// A scheduler on a device, and what it shows and publishes.
class SchedulerFixture : public testing::Test {
 protected:
  static constexpr std::chrono::milliseconds TICK = 15s;

  explicit SchedulerFixture(unsigned verbosity = 2) : device_(verbosity) {
    scheduler_->statusUpdated.connect(Function<void(Property::Value)>([this](Property::Value value) {
      values_.push_back(std::string(value["id"].toString().c_str()) + " " + value["status"].toString().c_str());
    }));
  }

  // Updates the plan and forgets what was logged about it.
  void plan(const char* descriptions) {
    scheduler_->updateJobDescriptions(json(descriptions));
    device_.log.clear();
  }
  void tick() { device_.loop.advance(TICK); }

  // The value of a row of the scheduler's own, e.g. "Invoked Jobs".
  std::string shown(const std::string& label) const {
    InfoContainer container;
    scheduler_->getInfo(container, 9, 0, 0, 0, String());
    for (const InfoContainer::Row& row : container.rows()) {
      if (row.label == label) return row.value.c_str();
    }
    return "no such row";
  }
  // "Scheduled nightly at 2026-01-02 03:00:00", a line for every job of the three places.
  std::vector<std::string> jobs() const {
    InfoContainer container;
    scheduler_->getInfo(container, 9, 0, 1, 0, String());
    std::vector<std::string> list;
    for (const InfoContainer::Row& row : container.rows()) {
      const std::string label = row.label.c_str();
      if (row.level == 1 && label.ends_with(" Job"))
        list.push_back(label.substr(0, label.size() - 3) + row.value.c_str());
      if (row.level == 2 && label == "Next run") list.back() += std::string(" at ") + row.value.c_str();
    }
    return list;
  }
  // The scheduler's lines since the last call, without their prefix.
  std::vector<std::string> takeOwnLines() {
    const std::string prefix = "[Scheduler] ";
    std::vector<std::string> own;
    for (const std::string& line : device_.log.takeLines()) {
      if (line.starts_with(prefix)) own.push_back(line.substr(prefix.size()));
    }
    return own;
  }

  Device device_;
  KXPtr<Scheduler> scheduler_{new Scheduler(device_.loop, device_.repository)};
  // Id and status of every value published.
  std::vector<std::string> values_;
};

}  // namespace KX::NMS::Discovery
