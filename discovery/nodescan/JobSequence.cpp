// SPDX-License-Identifier: Apache-2.0
#include "discovery/nodescan/JobSequence.h"

#include <utility>

#include "discovery/common/Log.h"
#include "discovery/common/Nesting.h"
#include "discovery/common/Validation.h"

namespace KX::NMS::Discovery {
namespace {

unsigned nesting = 0;

bool hasEnded(const KXPtr<Job>& job) { return job != nullptr && job->status().isFinished(); }

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
  const Property::Value items = std::as_const(description_)["jobs"];
  for (std::size_t item = 0; item < items.elements().size(); ++item) {
    if (!isScanType(items[item]["scanType"].toString())) continue;
    for (std::uint32_t left = items[item]["repeat"].toUIntOr(1); left != 0; --left) subJobs_.add({item, nullptr});
  }
  // At this level every job's line "Created" stands here.
  for (std::size_t index = 0; isTracing(2) && index < subJobs_.size(); ++index) makeSubJob(index);
}

KXPtr<Job> JobSequence::makeSubJob(std::size_t index) { return subJobs_[index].job = viewSubJob(index); }

KXPtr<Job> JobSequence::viewSubJob(std::size_t index) const {
  const SubJob& subJob = subJobs_[index];
  if (subJob.job != nullptr) return subJob.job;
  return createSubJob(static_cast<unsigned>(index), description_["jobs"][subJob.item]);
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
  const KXPtr<Job> job = makeSubJob(currentSubJob_);
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
  if (currentSubJob_ >= subJobs_.size() || !hasEnded(subJobs_[currentSubJob_].job)) return;
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
    const KXPtr<Job> job = subJobs_[currentSubJob_].job;
    if (job != nullptr) job->cancel();
  }
  DISCOVERY_TRACE(1, logPrefix_, "Cancelled");
}

// Sub-jobs of one item that are still to be made have one value, which says nothing of their numbers.
Property::Value JobSequence::subJobValues() const {
  Property::Value values = Property::Value::array(subJobs_.size());
  Property::Value untouched;
  std::size_t item = 0;
  for (std::size_t index = 0; index < subJobs_.size(); ++index) {
    const SubJob& subJob = subJobs_[index];
    if (subJob.job != nullptr) {
      values.add(subJob.job->toPropertyValue());
      continue;
    }
    if (!untouched.isValid() || item != subJob.item) untouched = viewSubJob(index)->toPropertyValue();
    item = subJob.item;
    values.add(untouched);
  }
  return values;
}

Property::Value JobSequence::toPropertyValue() const {
  Property::Value value = Job::toPropertyValue();
  value["jobs"_s] = subJobValues();
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
    viewSubJob(index)->getInfo(container, maxLevel, level + 1, maxColumn, column + 1, prefix);
  }
}

}  // namespace KX::NMS::Discovery
