// SPDX-License-Identifier: Apache-2.0
#include "discovery/scheduling/Job.h"

#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"
#include "discovery/common/Nesting.h"

namespace KX::NMS::Discovery {
namespace {

unsigned nesting = 0;

}  // namespace

Job::Job(KXEventLoop& loop, Repository& repository, const String& name, unsigned number,
         const Property::Value& description)
    : eventLoop_(loop),
      repository_(repository),
      id_(String(name).append(String::format(".%u", number))),
      description_(description) {
  logPrefix_ = String("[Job ").append(id_).append("] ");
}

bool Job::beginPreparation() {
  DISCOVERY_TRACE(1, logPrefix_, "Preparing...");
  DISCOVERY_TRACE(2, logPrefix_, "  %s", description_.toYaml(2, 2).c_str());
  if (status_.isIdle()) return true;
  DISCOVERY_NOTE(REFUSAL, logPrefix_, "Cannot prepare in state %s", status_.stateName());
  return false;
}

bool Job::beginInvocation() {
  DISCOVERY_TRACE(1, logPrefix_, "Invoking...");
  if (!status_.isIdle()) {
    DISCOVERY_NOTE(REFUSAL, logPrefix_, "Cannot re-invoke in state %s", status_.stateName());
    return false;
  }
  if (status_.start()) onStatusChanged();
  return true;
}

bool Job::beginCancellation() {
  if (!status_.cancel()) return false;
  DISCOVERY_TRACE(1, logPrefix_, "Cancelling...");
  onStatusChanged();
  return true;
}

void Job::successful(const Property::Value& result) {
  DISCOVERY_NOTE(OUTCOME, logPrefix_, "Job succeeded");
  if (status_.successful(result)) onStatusChanged();
}

void Job::failed(const String& text) {
  DISCOVERY_NOTE(OUTCOME, logPrefix_, "Job failed: %s", inLog(text).c_str());
  if (status_.failed(text)) onStatusChanged();
}

void Job::failed(const XCode& code) { failed(code.toString()); }

void Job::onStatusChanged() {
  DISCOVERY_TRACE(2, logPrefix_, "State changed to %s", status_.stateName());
  notifyStatusUpdate();
}

void Job::notifyStatusUpdate() {
  if (statusUpdated.hasBeenConnected()) statusUpdated.emit(toPropertyValue());
}

Property::Value Job::toPropertyValue() const {
  Property::Value value = description_;
  value.merge(status_.toPropertyValue(), true);
  return value;
}

void Job::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
                  const String& title) const {
  const Nesting scope(nesting);
  if (level <= maxLevel && column <= maxColumn) {
    container.add(level, column, String::format("%sJob Instance", title.c_str()), id_);
  }
  if (level + 1 <= maxLevel && column <= maxColumn && scope.isOutermost()) {
    status_.getInfo(container, maxLevel, level + 1, maxColumn, column, String());
  }
}

}  // namespace KX::NMS::Discovery
