// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/scheduling/Job.h"

namespace KX::NMS::Discovery {

// A job that does as the test says. It is needed unless its description has "needed": false, and it ends inside invoke
// when the description has "ends": "successful" or "failed"; with "stubborn": true it cannot be cancelled.
class TestJob final : public Job {
 public:
  TestJob(KXEventLoop& loop, Repository& repository, const String& name, unsigned number,
          const Property::Value& description)
      : Job(loop, repository, name, number, description) {}

  Property::Value toPropertyValue() const override {
    Property::Value value = Job::toPropertyValue();
    value["richer"] = true;
    return value;
  }
  void prepare(bool& needed) override { needed = description_["needed"].toBoolOr(true); }
  void invoke() override {
    start();
    if (description_["ends"].toString() == "successful") succeed(Property::Value());
    if (description_["ends"].toString() == "failed") fail("as it was told"_s);
  }
  void cancel() override {
    if (!description_["stubborn"].toBoolOr(false) && status_.cancel()) onStatusChanged();
  }

  void start() {
    if (status_.start()) onStatusChanged();
  }
  void succeed(const Property::Value& result) { successful(result); }
  void fail(const String& text) { failed(text); }
  void failWithCode(const XCode& code) { failed(code); }
  void notify() { notifyStatusUpdate(); }
  void enterState(State state) {
    static_assert(std::is_standard_layout_v<Status>, "the state is the first of its fields");
    *reinterpret_cast<State*>(&status_) = state;
    onStatusChanged();
  }
  const String& logPrefix() const { return logPrefix_; }
};

}  // namespace KX::NMS::Discovery
