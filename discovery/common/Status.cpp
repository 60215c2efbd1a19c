// SPDX-License-Identifier: Apache-2.0
#include "discovery/common/Status.h"

using KX::NMS::Discovery::State;

template <>
const char* KXEnumInfo<State>::VALUE_NAME(State value) {
  switch (value) {
    case State::IDLE:
      return "idle";
    case State::RUNNING:
      return "running";
    case State::FAILED:
      return "failed";
    case State::SUCCESSFUL:
      return "successful";
    case State::CANCELLED:
      return "cancelled";
  }
  return nullptr;
}

namespace KX::NMS::Discovery {

bool Status::start() {
  if (!isIdle()) return false;
  state_ = State::RUNNING;
  return true;
}

bool Status::cancel() {
  if (!isRunning()) return false;
  state_ = State::CANCELLED;
  return true;
}

bool Status::successful(const Property::Value& result) {
  if (!isRunning()) return false;
  state_ = State::SUCCESSFUL;
  result_ = result;
  return true;
}

bool Status::failed(const String& text) {
  if (!isIdle() && !isRunning()) return false;
  state_ = State::FAILED;
  text_ = text;
  return true;
}

Property::Value Status::toPropertyValue() const {
  Property::Value value = Property::Value::object(2);
  value["status"_s] = stateName();
  if (!text_.isEmpty()) value["reason"_s] = text_;
  return value;
}

void Status::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
                     const String& title) const {
  if (level > maxLevel || column > maxColumn) return;
  container.add(level, column, String::format("%sStatus", title.c_str()), stateName());
  if (!text_.isEmpty()) container.add(level, column, String::format("%sReason", title.c_str()), text_);
}

}  // namespace KX::NMS::Discovery
