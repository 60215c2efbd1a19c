// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/common/State.h"
#include "platform/monitor/InfoContainer.h"
#include "platform/property/Value.h"

namespace KX::NMS::Discovery {

// The lifecycle state that every job, scheduled job and scan holds by value, with the failure text or the result of its
// end. An end is final until reset: whatever comes late is refused.
class Status {
 public:
  // Idle, no text, unset result.
  Status() = default;

  State state() const { return state_; }
  const String& text() const { return text_; }
  const Property::Value& result() const { return result_; }
  const char* stateName() const { return KXEnumInfo<State>::nameOrEmpty(state_); }
  bool isIdle() const { return state_ == State::IDLE; }
  bool isRunning() const { return state_ == State::RUNNING; }
  bool isFinished() const { return Discovery::isFinished(state_); }

  // Back to idle, without text and result.
  void reset() { *this = Status(); }
  // The others return whether they changed the state: start from idle, cancel and successful from running, failed from
  // idle or running.
  bool start();
  bool cancel();
  bool successful(const Property::Value& result);
  bool failed(const String& text);

  // {"status": name} and, where there is a failure text, "reason".
  Property::Value toPropertyValue() const;
  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const;

 private:
  State state_ = State::IDLE;
  String text_;
  Property::Value result_;
};

}  // namespace KX::NMS::Discovery
