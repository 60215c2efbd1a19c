// SPDX-License-Identifier: Apache-2.0
#include "discovery/scheduling/ScheduledJob.h"

#include <ccronexpr.h>

#include <ctime>
#include <utility>

#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"
#include "discovery/common/Nesting.h"
#include "discovery/common/Validation.h"

namespace KX::NMS::Discovery {
namespace {

unsigned nesting = 0;

}  // namespace

ScheduledJob::ScheduledJob(KXEventLoop& loop, Repository& repository, const Property::Value& description)
    : eventLoop_(loop), repository_(repository) {
  parseDescription(description);
  DISCOVERY_TRACE(2, logPrefix_, "Created");
}

ScheduledJob::~ScheduledJob() {
  DISCOVERY_TRACE(2, logPrefix_, "Destroying...");
  cancel();
  DISCOVERY_TRACE(2, logPrefix_, "Destroyed");
  expireWeakLink();
}

void ScheduledJob::parseDescription(const Property::Value& description) {
  const String id = description["id"].toString();
  logPrefix_ = String("[Scheduled Job ").append(id).append("] ");
  DISCOVERY_TRACE(1, logPrefix_, "Parsing job description");
  DISCOVERY_TRACE(2, logPrefix_, "  %s", description.toYaml(2, 2).c_str());
  description_ = description;
  id_ = id;
  XCode result = validateJobDescriptionWhat(description);
  if (!result.isErr()) result = validateJobDescriptionWhen(description, cronSpecification_, nextRun_);
  if (!result.isErr()) {
    DISCOVERY_TRACE(1, logPrefix_, "- Next scan is on %s", nextRun_.toString(Clock::HUMAN).c_str());
    return;
  }
  // Kept on purpose: this line has no prefix.
  DISCOVERY_NOTE(REFUSAL, String(), "Invalid discovery scan description: %s", inLog(result.toString()).c_str());
  failed(result);
}

bool ScheduledJob::isDue() const { return nextRun_.toTime() < Clock::NOW().toTime(); }

bool ScheduledJob::scheduledBefore(const ScheduledJob& other) const {
  return nextRun_.toTime() < other.nextRun_.toTime();
}

bool ScheduledJob::reschedule() {
  nextRun_ = Clock();
  if (cronSpecification_.isEmpty()) return false;
  DISCOVERY_TRACE(1, logPrefix_, "Reschedule with cron specification %s", cronSpecification_.c_str());
  cron_expr expression;
  const char* error = nullptr;
  cron_parse_expr(cronSpecification_.c_str(), &expression, &error);
  if (error != nullptr) return false;
  // Kept on purpose: the count is used as it comes, so "no match" (-1) is a valid time, one second before the epoch,
  // and the job stays scheduled.
  const std::int64_t next = cron_next(&expression, static_cast<std::time_t>(Clock::NOW().toTime().seconds));
  nextRun_ = Clock(next, Clock::LOCAL);
  DISCOVERY_TRACE(1, logPrefix_, "- Next scan: %s", nextRun_.toString(Clock::HUMAN).c_str());
  return true;
}

// Kept on purpose: an unknown type uses up a number too, so the numbers of jobs can have gaps.
KXPtr<Job> ScheduledJob::createJob(const String& scanType) {
  return createJobOfType(scanType, eventLoop_, repository_, id_, runNumber_++, description_);
}

bool ScheduledJob::invoke() {
  const KXPtr<ScheduledJob> kept(this);
  DISCOVERY_TRACE(1, logPrefix_, "Preparing...");
  if (runningJob_ != nullptr) {
    DISCOVERY_NOTE(REFUSAL, logPrefix_, "Cannot re-invoke; already running");
    return false;
  }
  status_.reset();
  const KXPtr<Job> job = createJob(std::as_const(description_)["scanType"].toString());
  runningJob_ = job;
  if (job == nullptr) {
    DISCOVERY_NOTE(REFUSAL, logPrefix_, "Invalid scan type");
    return false;
  }
  bool needed = false;
  job->prepare(needed);
  if (!needed) {
    DISCOVERY_TRACE(1, logPrefix_, "No need to invoke");
    runningJob_ = nullptr;
    return false;
  }
  job->statusUpdated.connect(Function<void(Property::Value)>::direct(this, &ScheduledJob::onJobStatusUpdated));
  job->invoke();
  return true;
}

void ScheduledJob::cancel() {
  const KXPtr<ScheduledJob> kept(this);
  // The job's cancelled end retires it while this call is under way.
  const KXPtr<Job> job = runningJob_;
  if (job == nullptr) return;
  DISCOVERY_TRACE(1, logPrefix_, "Cancelling...");
  job->cancel();
  DISCOVERY_TRACE(1, logPrefix_, "Cancelled");
}

void ScheduledJob::onJobStatusUpdated(Property::Value) {
  DISCOVERY_TRACE(1, logPrefix_, "Job update");
  if (runningJob_ == nullptr) return;
  status_ = runningJob_->status();
  // A slot may cancel the job, which then is retired in here.
  const bool isFinished = status_.isFinished();
  onStatusChanged();
  if (!isFinished || runningJob_ == nullptr) return;
  DISCOVERY_TRACE(1, logPrefix_, "Retiring job %s", inLog(runningJob_->id()).c_str());
  terminatedJob_ = runningJob_;
  runningJob_ = nullptr;
}

void ScheduledJob::failed(const String& text) {
  DISCOVERY_NOTE(OUTCOME, logPrefix_, "Job failed: %s", inLog(text).c_str());
  if (status_.failed(text)) onStatusChanged();
}

void ScheduledJob::failed(const XCode& code) { failed(code.toString()); }

void ScheduledJob::onStatusChanged() {
  DISCOVERY_TRACE(2, logPrefix_, "State changed to %s", status_.stateName());
  notifyStatusUpdate();
}

void ScheduledJob::notifyStatusUpdate() {
  if (statusUpdated.hasBeenConnected()) statusUpdated.emit(toPropertyValue());
}

Property::Value ScheduledJob::toPropertyValue() const {
  Property::Value value = description_;
  value.merge(status_.toPropertyValue(), true);
  return value;
}

void ScheduledJob::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn,
                           unsigned column, const String& title) const {
  const Nesting scope(nesting);
  if (level <= maxLevel && column <= maxColumn) {
    container.add(level, column, String::format("%sJob", title.c_str()), id_);
  }
  if (level + 1 > maxLevel || column > maxColumn) return;
  addInfoProperty(container, level + 1, column, "Description"_s, description_, maxLevel);
  container.add(level + 1, column, "Next run"_s, nextRun_.isValid() ? nextRun_.toString(Clock::HUMAN) : "never"_s);
  if (scope.isOutermost()) status_.getInfo(container, maxLevel, level + 1, maxColumn, column, String());
  const auto showJob = [&](const KXPtr<Job>& job, const char* name) {
    if (job == nullptr) {
      container.add(level + 1, column, name, "no"_s);
    } else if (scope.isOutermost() && column + 1 <= maxColumn) {
      job->getInfo(container, maxLevel, level + 1, maxColumn, column + 1, String::format("%s ", name));
    }
  };
  showJob(runningJob_, "Running");
  showJob(terminatedJob_, "Terminated");
}

}  // namespace KX::NMS::Discovery
