// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/common/Status.h"
#include "discovery/scans/ScanOutputParser.h"
#include "platform/base/Export.h"
#include "platform/base/RefCounted.h"
#include "platform/loop/Signal.h"
#include "platform/process/Command.h"
#include "platform/process/Future.h"

namespace KX::NMS::Discovery {

// One run of one external command: started at most once, its output gathered and, when it has ended well, parsed. The
// job that owns it connects to statusUpdated, invokes it, and reads result or failure text from its status in the slot,
// which runs inside the call that changed the status and may release the scan. A scan that is destroyed while its
// command runs kills the command first. Event loop thread only; the handle of the command is all that it shares with
// the shell.
class KX_EXPORT Scan final : public RefCountedUnlessBeingDestroying {
 public:
  // The parser belongs to the job and outlives the scan. The id is "ownerId.name".
  Scan(KXEventLoop& loop, const String& ownerId, const String& type, const String& name, const Shell::Command& command,
       const ScanOutputParser& parser);

  // Emitted exactly once on each change of the status.
  Sig::Signal<void()> statusUpdated;

  void invoke();
  // Kills the command of a running scan with its whole process group; its end still arrives, and is only logged.
  void cancel();

  const String& name() const { return name_; }
  const Status& status() const { return status_; }
  // "id", "type", "name", "cmd" and the status.
  Property::Value toPropertyValue() const;
  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const;

 private:
  ~Scan() override;

  void successful(const Property::Value& result);
  void failed(const String& why);
  void failed(const XCode& code);
  void onScanOutput(String chunk);
  void onErrorOutput(String chunk);
  void onScanTerminated(XCode code, String rest);
  void onStatusChanged();
  void notifyStatusUpdate();

  KXEventLoop& eventLoop_;
  String id_;
  String logPrefix_;
  String outputLogPrefix_;
  String infoLogPrefix_;
  String type_;
  String name_;
  Shell::Command command_;
  const ScanOutputParser& parser_;
  Status status_;
  Future<String> future_;
  String output_;
};

}  // namespace KX::NMS::Discovery
