// SPDX-License-Identifier: Apache-2.0
// Replacing and dropping the scheduler's plan.
#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"
#include "discovery/scheduling/Scheduler.h"
#include "platform/base/KXStringHashTable.h"

namespace KX::NMS::Discovery {
namespace {

using Jobs = KXVector<KXPtr<ScheduledJob>>;

// Where the first job of each id stands, so that a plan of many is not searched for each of them.
KXStringHashTable<std::size_t> placesOf(const Jobs& jobs) {
  KXStringHashTable<std::size_t> places;
  for (std::size_t place = 0; place < jobs.size(); ++place) {
    const String id = jobs[place]->toString();
    if (places.find(id) == nullptr) places.set(id, place);
  }
  return places;
}

// Takes the jobs out of the list one by one, from the front, and lets each go after the action.
template <class Action>
void drain(Jobs& jobs, Action action) {
  while (!jobs.isEmpty()) {
    Jobs taken;
    taken.swap(jobs);
    for (KXPtr<ScheduledJob>& job : taken) {
      action(job->toString());
      job.reset();
    }
  }
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
    DISCOVERY_TRACE(1, logPrefix_, "Cancelling running job: %s", inLog(runningJob_->toString()).c_str());
    cancelRunningJob();
  } else {
    DISCOVERY_TRACE(1, logPrefix_, "No running job to cancel");
  }
  deleteJobsMissingFrom(newJobs);
  enterJobs(newJobs);
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
  const KXStringHashTable<std::size_t> wanted = placesOf(newJobs);
  JobList jobs;
  jobs.swap(scheduledJobs_);
  for (KXPtr<ScheduledJob>& job : jobs) {
    const String id = job->toString();
    if (wanted.find(id) != nullptr) {
      scheduledJobs_.add(job);
      continue;
    }
    DISCOVERY_TRACE(1, logPrefix_, "Deleting scheduled job: %s", inLog(id).c_str());
    job.reset();
  }
}

// Kept on purpose: the search meets entries of the same update too, so the last of equal ids wins, and it stops at the
// first match, so of a job that is listed twice the second entry stays.
void Scheduler::enterJobs(const JobList& newJobs) {
  KXStringHashTable<std::size_t> places = placesOf(scheduledJobs_);
  for (const KXPtr<ScheduledJob>& job : newJobs) {
    const String id = job->toString();
    if (const std::size_t* place = places.find(id)) {
      DISCOVERY_TRACE(1, logPrefix_, "Updating scheduled job: %s", inLog(id).c_str());
      scheduledJobs_[*place] = job;
    } else {
      DISCOVERY_TRACE(1, logPrefix_, "Adding new scheduled job: %s", inLog(id).c_str());
      places.set(id, scheduledJobs_.size());
      scheduledJobs_.add(job);
    }
  }
}

void Scheduler::deleteTerminatedJobs() {
  drain(terminatedJobs_,
        [this](const String& id) { DISCOVERY_TRACE(1, logPrefix_, "Deleting terminated job: %s", inLog(id).c_str()); });
}

void Scheduler::clear() {
  const KXPtr<Scheduler> kept(this);
  DISCOVERY_TRACE(1, logPrefix_, "Clearing all jobs");
  if (runningJob_ != nullptr) {
    DISCOVERY_TRACE(1, logPrefix_, "Cancelling running job: %s", inLog(runningJob_->toString()).c_str());
    cancelRunningJob();
  }
  drain(scheduledJobs_,
        [this](const String& id) { DISCOVERY_TRACE(1, logPrefix_, "Deleting scheduled job: %s", inLog(id).c_str()); });
  deleteTerminatedJobs();
}

}  // namespace KX::NMS::Discovery
