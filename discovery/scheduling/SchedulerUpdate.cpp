// SPDX-License-Identifier: Apache-2.0
// Replacing and dropping the scheduler's plan.
#include <algorithm>

#include "discovery/common/Log.h"
#include "discovery/scheduling/Scheduler.h"

namespace KX::NMS::Discovery {
namespace {

bool holdsId(const KXVector<KXPtr<ScheduledJob>>& jobs, const String& id) {
  return std::any_of(jobs.begin(), jobs.end(), [&](const auto& job) { return job->toString() == id; });
}

}  // namespace

void Scheduler::updateJobDescriptions(const Property::Value& descriptions) {
  const KXPtr<Scheduler> kept(this);
  DISCOVERY_TRACE(1, logPrefix_, "Update received");
  ++updatesReceived_;
  if (!descriptions.isArray()) return;
  const JobList newJobs = parseJobs(descriptions);
  DISCOVERY_TRACE(1, logPrefix_, "Parsed %u jobs", static_cast<unsigned>(newJobs.size()));
  if (runningJob_ != nullptr) {
    DISCOVERY_TRACE(1, logPrefix_, "Cancelling running job: %s", runningJob_->toString().c_str());
    cancelRunningJob();
  } else {
    DISCOVERY_TRACE(1, logPrefix_, "No running job to cancel");
  }
  deleteJobsMissingFrom(newJobs);
  for (const KXPtr<ScheduledJob>& job : newJobs) enterJob(job);
  deleteTerminatedJobs();
  DISCOVERY_TRACE(1, logPrefix_, "Update processed");
}

Scheduler::JobList Scheduler::parseJobs(const Property::Value& descriptions) {
  JobList jobs;
  jobs.reserve(descriptions.size());
  for (const Property::Value& description : descriptions.elements()) {
    const KXPtr<ScheduledJob> job(new ScheduledJob(eventLoop_, repository_, description));
    job->statusUpdated.connect(Function<void(Property::Value)>::direct(this, &Scheduler::onJobStatusUpdated));
    jobs.add(job);
  }
  return jobs;
}

void Scheduler::deleteJobsMissingFrom(const JobList& newJobs) {
  for (std::size_t index = 0; index < scheduledJobs_.size();) {
    const String id = scheduledJobs_[index]->toString();
    if (holdsId(newJobs, id)) {
      ++index;
      continue;
    }
    DISCOVERY_TRACE(1, logPrefix_, "Deleting scheduled job: %s", id.c_str());
    scheduledJobs_.removeAt(index);
  }
}

// Kept on purpose: the search meets entries of the same update too, so the last of equal ids wins, and it stops at the
// first match, so of a job that is listed twice the second entry stays.
void Scheduler::enterJob(const KXPtr<ScheduledJob>& job) {
  const String id = job->toString();
  for (KXPtr<ScheduledJob>& known : scheduledJobs_) {
    if (!(known->toString() == id)) continue;
    DISCOVERY_TRACE(1, logPrefix_, "Updating scheduled job: %s", id.c_str());
    known = job;
    return;
  }
  DISCOVERY_TRACE(1, logPrefix_, "Adding new scheduled job: %s", id.c_str());
  scheduledJobs_.add(job);
}

void Scheduler::deleteTerminatedJobs() {
  while (!terminatedJobs_.isEmpty()) {
    DISCOVERY_TRACE(1, logPrefix_, "Deleting terminated job: %s", terminatedJobs_[0]->toString().c_str());
    terminatedJobs_.removeAt(0);
  }
}

void Scheduler::clear() {
  const KXPtr<Scheduler> kept(this);
  DISCOVERY_TRACE(1, logPrefix_, "Clearing all jobs");
  if (runningJob_ != nullptr) {
    DISCOVERY_TRACE(1, logPrefix_, "Cancelling running job: %s", runningJob_->toString().c_str());
    cancelRunningJob();
  }
  while (!scheduledJobs_.isEmpty()) {
    DISCOVERY_TRACE(1, logPrefix_, "Deleting scheduled job: %s", scheduledJobs_[0]->toString().c_str());
    scheduledJobs_.removeAt(0);
  }
  deleteTerminatedJobs();
}

}  // namespace KX::NMS::Discovery
