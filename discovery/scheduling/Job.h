// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/common/Status.h"
#include "discovery/repository/Repository.h"
#include "platform/base/Export.h"
#include "platform/base/RefCounted.h"
#include "platform/loop/Signal.h"

namespace KX::NMS::Discovery {

// Base of the scan jobs: identity, description, lifecycle, and the signal that publishes every accepted change of state
// as the job's status value. A scheduled job, or a sequence, creates a job, calls prepare once and, when the job is
// needed, invoke once; cancel may come at any time. Everything runs on the event loop's thread, and slots run inside
// the call that changes the state: when successful, failed or cancel return, the owner may have retired the job.
class KX_EXPORT Job : public RefCountedUnlessBeingDestroying {
 public:
  // Emitted with toPropertyValue() on every accepted change of state.
  Sig::Signal<void(Property::Value)> statusUpdated;

  // The description, into which the status is merged; subclasses add their own keys.
  virtual Property::Value toPropertyValue() const;
  virtual void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
                       const String& title) const;
  // Builds the job's work; needed says whether there is any.
  virtual void prepare(bool& needed) = 0;
  virtual void invoke() = 0;
  // Ends a running job in the cancelled state, which is published before its scans are stopped; does nothing to any
  // other.
  virtual void cancel() = 0;

  const String& id() const { return id_; }
  const Status& status() const { return status_; }

 protected:
  // The id is "name.number".
  Job(KXEventLoop& loop, Repository& repository, const String& name, unsigned number,
      const Property::Value& description);
  ~Job() override = default;

  // What every job begins its prepare, invoke and cancel with; false ends them, which is logged where it is a refusal.
  // The slots of the published state may release the job, so invoke and cancel keep it.
  bool beginPreparation();
  bool beginInvocation();
  bool beginCancellation();

  // The ends of a job. One that has ended already logs once more but keeps its state and publishes nothing.
  void successful(const Property::Value& result);
  void failed(const String& text);
  void failed(const XCode& code);

  // Called by subclasses whenever their own start or cancel of the status changed the state.
  void onStatusChanged();
  void notifyStatusUpdate();

  KXEventLoop& eventLoop_;
  Repository& repository_;
  String logPrefix_;
  String id_;
  Property::Value description_;
  Status status_;
};

// A new job of the given scan type ("node", ...; compared exactly), or null for any other. Declared here for whoever
// runs jobs, and defined where all job classes are known.
KX_EXPORT KXPtr<Job> createJobOfType(const String& scanType, KXEventLoop& loop, Repository& repository,
                                     const String& name, unsigned number, const Property::Value& description);

}  // namespace KX::NMS::Discovery
