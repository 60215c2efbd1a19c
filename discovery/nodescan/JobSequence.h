// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/nodescan/NextStep.h"
#include "discovery/scheduling/Job.h"
#include "platform/base/KXVector.h"

namespace KX::NMS::Discovery {

// The job of scan type "sequence". It runs the jobs of its description one after another, each as often as it says, and
// owns them: jobs of every type, sequences among them. Each is prepared when its turn comes, so that it sees what the
// ones before it have found. One that fails does not stop the sequence.
class JobSequence final : public Job {
 public:
  JobSequence(KXEventLoop& loop, Repository& repository, const String& name, unsigned number,
              const Property::Value& description);

  // The base's value and "jobs": the value of each sub-job in order.
  Property::Value toPropertyValue() const override;
  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const override;
  // Not needed without a sub-job.
  void prepare(bool& needed) override;
  void invoke() override;
  void cancel() override;

 private:
  ~JobSequence() override;

  // A sub-job may be repeated thousands of times, so it is made when its turn comes; before that only a log of level 2
  // could tell.
  struct SubJob {
    std::size_t item;  // of the description's "jobs"
    KXPtr<Job> job;    // null until it is made
  };

  KXPtr<Job> createSubJob(unsigned number, const Property::Value& description) const;
  void determineSubJobs();
  KXPtr<Job> makeSubJob(std::size_t index);
  // The sub-job, or one for the moment that is as it would be.
  KXPtr<Job> viewSubJob(std::size_t index) const;
  Property::Value subJobValues() const;

  void invokeNextSubJob();
  void invokeCurrentSubJob();
  void prepareCurrentSubJob();
  void onSubJobStatusUpdated(Property::Value value);
  void successful();

  KXVector<SubJob> subJobs_;
  unsigned currentSubJob_ = 0;
  NextStep nextStep_;
};

}  // namespace KX::NMS::Discovery
