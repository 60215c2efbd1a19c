// SPDX-License-Identifier: Apache-2.0
#include "discovery/scheduling/Scheduler.h"

#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"
#include "discovery/common/Nesting.h"

namespace KX::NMS::Discovery {
namespace {

unsigned nesting = 0;

constexpr unsigned TIMER_PRIORITY = 1;

}  // namespace

Scheduler::Scheduler(KXEventLoop& loop, Repository& repository)
    : logPrefix_("[Scheduler] "_s),
      eventLoop_(loop),
      repository_(repository),
      timer_(loop, TIMER_PRIORITY, *this, &Scheduler::checkStartNextJob) {
  timer_.start(CHECK_INTERVAL_MS, true, false);
}

// A scheduled job that goes with the lists cancels its job; nothing of that may reach this object any more.
Scheduler::~Scheduler() { expireWeakLink(); }

void Scheduler::checkStartNextJob() {
  const KXPtr<Scheduler> kept(this);
  if (runningJob_ != nullptr) {
    DISCOVERY_TRACE(2, logPrefix_, "Scan is running: %s", inLog(runningJob_->toString()).c_str());
    return;
  }
  KXPtr<ScheduledJob> best;
  for (const KXPtr<ScheduledJob>& job : scheduledJobs_) {
    if (job->status().isRunning()) continue;
    if (best == nullptr || job->scheduledBefore(*best)) best = job;
  }
  if (best == nullptr) return;
  if (!best->isDue()) {
    DISCOVERY_TRACE(2, logPrefix_, "Next scan scheduled for %s", best->nextRun().toString(Clock::HUMAN).c_str());
    return;
  }
  const String id = best->toString();
  DISCOVERY_TRACE(1, logPrefix_, "The next job is ready to be invoked: %s", inLog(id).c_str());
  std::size_t index = 0;
  while (!(scheduledJobs_[index]->toString() == id)) ++index;
  scheduledJobs_.removeAt(index);
  runningJob_ = best;
  if (best->invoke()) {
    ++invokedJobs_;
  } else {
    rescheduleOrDeleteRunningJob();
  }
}

// Kept on purpose: the running pointer is still set while the job is cancelled. A running job publishes its cancelled
// state inside that call, which leads here a second time; both passes append it, so a cancelled job with a next run is
// listed twice, and an update then replaces only the first of the two. A slot that hears of it may have started another
// job by the time that the cancel returns; that one stays.
void Scheduler::rescheduleOrDeleteRunningJob() {
  const KXPtr<ScheduledJob> job = runningJob_;
  (job->reschedule() ? scheduledJobs_ : terminatedJobs_).add(job);
  job->cancel();
  if (runningJob_ == job) runningJob_ = nullptr;
}

void Scheduler::onJobStatusUpdated(Property::Value value) {
  const KXPtr<ScheduledJob> job = runningJob_;
  if (job == nullptr) return;
  DISCOVERY_TRACE(1, logPrefix_, "Job updated: %s", inLog(job->toString()).c_str());
  statusUpdated.emit(value);
  if (runningJob_ == nullptr || !runningJob_->status().isFinished()) return;
  ++terminatedJobsCount_;
  rescheduleOrDeleteRunningJob();
}

void Scheduler::cancelRunningJob() {
  if (runningJob_ == nullptr) return;
  const KXPtr<Scheduler> kept(this);
  DISCOVERY_TRACE(1, logPrefix_, "Cancelling job: %s", inLog(runningJob_->toString()).c_str());
  rescheduleOrDeleteRunningJob();
  ++cancelledJobs_;
}

void Scheduler::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn,
                        unsigned column, const String& title) const {
  const Nesting scope(nesting);
  if (column > maxColumn) return;
  if (level <= maxLevel) {
    container.add(level, column, String::format("%sNetwork Scanning Scheduler", title.c_str()), String());
  }
  if (level + 1 > maxLevel) return;
  const bool showJobs = scope.isOutermost() && column + 1 <= maxColumn;
  container.add(level + 1, column, "Running Scan"_s, YES_NO(runningJob_ != nullptr));
  if (showJobs && runningJob_ != nullptr) {
    runningJob_->getInfo(container, maxLevel, level + 1, maxColumn, column + 1, "Running "_s);
  }
  const auto listJobs = [&](const String& label, const JobList& jobs, const String& jobTitle) {
    container.add(level + 1, column, label, String::format("%u", static_cast<unsigned>(jobs.size())));
    if (!showJobs) return;
    for (const KXPtr<ScheduledJob>& job : jobs) {
      job->getInfo(container, maxLevel, level + 1, maxColumn, column + 1, jobTitle);
    }
  };
  listJobs("Scheduled Scans"_s, scheduledJobs_, "Scheduled "_s);
  listJobs("Terminated Scans"_s, terminatedJobs_, "Terminated "_s);
  addStatistics(container, maxLevel, level + 1, column);
}

void Scheduler::addStatistics(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned column) const {
  container.add(level, column, "Statistics"_s, String());
  if (level + 1 > maxLevel) return;
  const auto addCount = [&](const String& label, unsigned count) {
    container.add(level + 1, column, label, String::format("%u", count));
  };
  addCount("Updates Received"_s, updatesReceived_);
  addCount("Max. Scheduled Jobs"_s, maxScheduledJobs_);
  addCount("Invoked Jobs"_s, invokedJobs_);
  addCount("Cancelled Jobs"_s, cancelledJobs_);
  addCount("Terminated Jobs"_s, terminatedJobsCount_);
}

}  // namespace KX::NMS::Discovery
