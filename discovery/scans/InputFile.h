// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/common/Status.h"
#include "discovery/scans/InputFiles.h"
#include "platform/base/KXFile.h"
#include "platform/loop/KXEventLoop.h"
#include "platform/process/Command.h"

namespace KX::NMS::Discovery {

// The file by which a job tells servicescan what to probe: a line a node, its address followed by name:port pairs.
// Every job has a path of its own, which a later job of the same id takes over. The file stays when its job goes, as
// long as InputFiles leaves it. Errors say which step failed; an open file is closed by the owner or the destructor.
class InputFile {
 public:
  // The status is that of the job that owns this object: a job that has ended uses its file no more.
  InputFile(KXEventLoop& loop, const String& jobId, const Status& status);
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  ~InputFile();

  const String& path() const { return file_.path(); }
  const String& jobId() const { return jobId_; }
  bool isInUse() const { return !status_.isFinished() && !abandoned_; }

  // Empties the file, or creates it; refuses what is no regular file, or not the process's own alone.
  [[nodiscard]] XCode open();
  // Services is one or more of " name:port", each made by serviceText. A byte of the address that would end it, or the
  // line, is written as "?".
  [[nodiscard]] XCode writeLine(const String& ipAddress, const String& services);
  void close();
  // Closes a file that no scan will read.
  void abandon();
  // What is in the file by now, whoever wrote it.
  [[nodiscard]] XCode readBack(String& content) const;

  // " name:port", a byte of the name that would end it, or its line, as "?".
  static String serviceText(const String& name, std::int64_t port);
  // What probes the nodes in the file.
  Shell::Command scanCommand() const;

 private:
  InputFiles& files_;
  String jobId_;
  const Status& status_;
  KXFile file_;
  bool abandoned_ = false;
};

}  // namespace KX::NMS::Discovery
