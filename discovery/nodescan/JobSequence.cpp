// SPDX-License-Identifier: Apache-2.0
#include "discovery/nodescan/JobSequence.h"

#include <utility>

#include "discovery/common/Log.h"
#include "discovery/common/Nesting.h"

namespace KX::NMS::Discovery {
namespace {

unsigned nesting = 0;

}  // namespace

JobSequence::JobSequence(KXEventLoop& loop, Repository& repository, const String& name, unsigned number,
                         const Property::Value& description)
    : Job(loop, repository, name, number, description) {
  DISCOVERY_TRACE(2, logPrefix_, "Created");
  DISCOVERY_TRACE(2, logPrefix_, "  %s", description_.toYaml(2, 2).c_str());
}

JobSequence::~JobSequence() {
  DISCOVERY_TRACE(2, logPrefix_, "Destroying...");
  cancel();
  DISCOVERY_TRACE(2, logPrefix_, "Destroyed");
  expireWeakLink();
}

KXPtr<Job> JobSequence::createSubJob(unsigned number, const Property::Value& description) const {
  return createJobOfType(description["scanType"].toString(), eventLoop_, repository_, id_, number, description);
}

// An item of an unknown type yields nothing and uses up no number.
void JobSequence::determineSubJobs() {
  DISCOVERY_TRACE(1, logPrefix_, "Determining sub-jobs...");
  subJobs_.clear();
  currentSubJob_ = 0;
  for (const Property::Value& item : std::as_const(description_)["jobs"].elements()) {
    for (std::uint32_t left = item["repeat"].toUIntOr(1); left != 0; --left) {
      const KXPtr<Job> job = createSubJob(static_cast<unsigned>(subJobs_.size()), item);
      if (job == nullptr) break;
      subJobs_.add(job);
    }
  }
}

void JobSequence::prepare(bool& needed) {
  needed = false;
  if (!beginPreparation()) return;
  determineSubJobs();
  needed = !subJobs_.isEmpty();
}

void JobSequence::invoke() {
  const KXPtr<JobSequence> kept(this);
  if (!beginInvocation()) return;
  DISCOVERY_TRACE(1, logPrefix_, "  %u sub-jobs found", static_cast<unsigned>(subJobs_.size()));
  invokeNextSubJob();
}

void JobSequence::invokeNextSubJob() {
  const KXPtr<JobSequence> kept(this);
  nextStep_.take(status_.isRunning(), [this] { invokeCurrentSubJob(); });
}

void JobSequence::invokeCurrentSubJob() {
  if (!status_.isRunning() || subJobs_.isEmpty()) {
    failed("Cannot invoke next sub-job"_s);
  } else if (currentSubJob_ == subJobs_.size()) {
    successful();
  } else {
    prepareCurrentSubJob();
  }
}

void JobSequence::prepareCurrentSubJob() {
  const KXPtr<Job> job = subJobs_[currentSubJob_];
  DISCOVERY_TRACE(1, logPrefix_, "Preparing sub-job %d", static_cast<int>(currentSubJob_ + 1));
  bool needed = false;
  job->prepare(needed);
  if (needed) {
    DISCOVERY_TRACE(1, logPrefix_, "Invoking sub-job %d", static_cast<int>(currentSubJob_ + 1));
    job->statusUpdated.connect(Function<void(Property::Value)>::direct(this, &JobSequence::onSubJobStatusUpdated));
    job->invoke();
  } else {
    DISCOVERY_TRACE(1, logPrefix_, "No need to invoke sub-job %d", static_cast<int>(currentSubJob_ + 1));
    ++currentSubJob_;
    invokeNextSubJob();
  }
}

void JobSequence::onSubJobStatusUpdated(Property::Value) {
  DISCOVERY_TRACE(1, logPrefix_, "Sub-job %d update", static_cast<int>(currentSubJob_ + 1));
  if (currentSubJob_ >= subJobs_.size() || !subJobs_[currentSubJob_]->status().isFinished()) return;
  ++currentSubJob_;
  invokeNextSubJob();
}

// A sequence has no result of its own.
void JobSequence::successful() { Job::successful(Property::Value()); }

// The running sub-job is cancelled after the sequence, so its end finds a sequence that runs no more: that is logged as
// a failure to invoke the next sub-job and changes nothing.
void JobSequence::cancel() {
  const KXPtr<JobSequence> kept(this);
  if (!beginCancellation()) return;
  if (currentSubJob_ < subJobs_.size()) {
    DISCOVERY_TRACE(1, logPrefix_, "Cancel running sub-job");
    const KXPtr<Job> job = subJobs_[currentSubJob_];
    job->cancel();
  }
  DISCOVERY_TRACE(1, logPrefix_, "Cancelled");
}

Property::Value JobSequence::toPropertyValue() const {
  Property::Value jobs = Property::Value::array(subJobs_.size());
  for (const KXPtr<Job>& job : subJobs_) jobs.add(job->toPropertyValue());
  Property::Value value = Job::toPropertyValue();
  value["jobs"_s] = jobs;
  return value;
}

void JobSequence::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn,
                          unsigned column, const String& title) const {
  Job::getInfo(container, maxLevel, level, maxColumn, column, title);
  const Nesting scope(nesting);
  if (subJobs_.isEmpty() && level + 1 <= maxLevel && column <= maxColumn) {
    container.add(level + 1, column, "Sub-Jobs"_s, "none"_s);
  }
  if (level + 1 > maxLevel || column + 1 > maxColumn || !scope.isOutermost()) return;
  for (std::size_t index = 0; index < subJobs_.size(); ++index) {
    const String prefix = index == currentSubJob_ ? "Active "_s : String();
    subJobs_[index]->getInfo(container, maxLevel, level + 1, maxColumn, column + 1, prefix);
  }
}

}  // namespace KX::NMS::Discovery
