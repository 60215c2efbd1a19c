// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/scheduling/ScheduledJob.h"
#include "platform/base/Export.h"
#include "platform/base/KXVector.h"
#include "platform/loop/KXEventTimeout.h"

namespace KX::NMS::Discovery {

// Runs the server's plan: every 15 seconds it starts the earliest scheduled job that is due, at most one at a time, and
// it forwards every status of the running job. The host creates it on the event loop beside the repository, holds it
// through a counting pointer, and wires statusUpdated to the client. Event loop thread only. A job's cancelled state is
// published inside cancel, so onJobStatusUpdated runs re-entrantly inside cancelRunningJob; see there. A slot may call
// any operation and release the scheduler, which then stays until the operation under way has ended.
class KX_EXPORT Scheduler : public RefCountedUnlessBeingDestroying {
 public:
  static constexpr unsigned CHECK_INTERVAL_MS = 15000;

  // Starts the timer at once; it runs until the scheduler is destroyed.
  Scheduler(KXEventLoop& loop, Repository& repository);

  // Emitted with each status value of the running scheduled job.
  Sig::Signal<void(Property::Value)> statusUpdated;

  // Replaces the plan by an array of job descriptions, invalid ones included; anything but an array is only counted. A
  // running job is cancelled whether or not its description changed. Of equal ids the last one wins.
  void updateJobDescriptions(const Property::Value& descriptions);
  // The timer's handler.
  void checkStartNextJob();
  void cancelRunningJob();
  // Drops the whole plan.
  void clear();

  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const;

 protected:
  // Cancels a running job. Whoever is to hear of that clears the scheduler first.
  ~Scheduler() override;

 private:
  using JobList = KXVector<KXPtr<ScheduledJob>>;

  void rescheduleOrDeleteRunningJob();
  void onJobStatusUpdated(Property::Value value);
  JobList parseJobs(const Property::Value& descriptions);
  void deleteJobsMissingFrom(const JobList& newJobs);
  void enterJobs(const JobList& newJobs);
  void deleteTerminatedJobs();
  void addStatistics(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned column) const;

  String logPrefix_;
  KXEventLoop& eventLoop_;
  Repository& repository_;
  KXPtr<ScheduledJob> runningJob_;
  JobList scheduledJobs_;
  JobList terminatedJobs_;
  KXEventTimeout<Scheduler> timer_;
  unsigned updatesReceived_ = 0;
  // Kept on purpose: shown, never raised.
  unsigned maxScheduledJobs_ = 0;
  unsigned invokedJobs_ = 0;
  unsigned cancelledJobs_ = 0;
  unsigned terminatedJobsCount_ = 0;
};

}  // namespace KX::NMS::Discovery
