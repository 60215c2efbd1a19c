// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "program/StatusLine.h"
#include "discovery/scheduling/Job.h"
#include "platform/loop/KXEventTimeout.h"

// Shows on the status line which scan of a job runs and for how long, anew every second. Where the line is not visible
// it wakes nobody.
class Progress {
 public:
  Progress(KXEventLoop& loop, const KX::NMS::Discovery::Repository& repository, StatusLine& statusLine);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // The job, which works on the repository, must outlive finish.
  void follow(const KX::NMS::Discovery::Job& job);
  // Takes the line away.
  void finish();

 private:
  void show();

  const KX::NMS::Discovery::Repository& repository_;
  StatusLine& statusLine_;
  const KX::NMS::Discovery::Job* job_ = nullptr;
  KX::Clock started_;
  std::size_t current_ = 0;
  KXEventTimeout<Progress> timer_;
};
