// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/scheduling/Job.h"
#include "platform/time/Clock.h"

namespace KX::NMS::Discovery {

// One job description of the server with its cron schedule. When the scheduler invokes it, it builds a fresh job of the
// description's scan type, mirrors that job's status as its own and publishes it; afterwards it keeps the finished job
// for diagnostics. An invalid description makes a scheduled job too: one in the failed state that is never due. Held
// through counting pointers; event loop thread only. Slots run inside the calls that change the status; one that
// releases the scheduled job leaves it in place until the operation under way has ended.
class ScheduledJob : public RefCountedUnlessBeingDestroying {
 public:
  ScheduledJob(KXEventLoop& loop, Repository& repository, const Property::Value& description);

  // Emitted with toPropertyValue() on every change of the status.
  Sig::Signal<void(Property::Value)> statusUpdated;

  // The id.
  String toString() const { return id_; }
  const Status& status() const { return status_; }
  const Clock& nextRun() const { return nextRun_; }
  const KXPtr<Job>& runningJob() const { return runningJob_; }
  const KXPtr<Job>& terminatedJob() const { return terminatedJob_; }

  // Whether the next run is strictly earlier than now.
  bool isDue() const;
  // Whether the next run is strictly earlier than the other's.
  bool scheduledBefore(const ScheduledJob& other) const;
  // Computes the next run from the cron specification; false, and no next run, without a usable one.
  bool reschedule();
  // True when a job was started. It may have ended by then.
  bool invoke();
  void cancel();

  Property::Value toPropertyValue() const;
  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const;

 protected:
  // Cancels a running job.
  ~ScheduledJob() override;

 private:
  void parseDescription(const Property::Value& description);
  KXPtr<Job> createJob(const String& scanType);
  void onJobStatusUpdated(Property::Value value);
  void failed(const String& text);
  void failed(const XCode& code);
  void onStatusChanged();
  void notifyStatusUpdate();

  KXEventLoop& eventLoop_;
  Repository& repository_;
  String logPrefix_;
  Property::Value description_;
  String id_;
  String cronSpecification_;
  Status status_;
  Clock nextRun_;
  KXPtr<Job> runningJob_;
  KXPtr<Job> terminatedJob_;
  unsigned runNumber_ = 0;
};

}  // namespace KX::NMS::Discovery
