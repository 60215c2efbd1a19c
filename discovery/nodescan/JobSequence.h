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
  ~JobSequence() override;

  // The base's value and "jobs": the value of each sub-job in order.
  Property::Value toPropertyValue() const override;
  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const override;
  // Not needed without a sub-job.
  void prepare(bool& needed) override;
  void invoke() override;
  void cancel() override;

 private:
  KXPtr<Job> createSubJob(unsigned number, const Property::Value& description) const;
  void determineSubJobs();

  void invokeNextSubJob();
  void invokeCurrentSubJob();
  void prepareCurrentSubJob();
  void onSubJobStatusUpdated(Property::Value value);
  void successful();

  KXVector<KXPtr<Job>> subJobs_;
  unsigned currentSubJob_ = 0;
  NextStep nextStep_;
};

}  // namespace KX::NMS::Discovery
