// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/scheduling/Job.h"
#include "platform/loop/KXEventTimeout.h"

// Shows on a terminal which scan of a job runs and for how long: one line on stderr, written over every second. Where
// stderr is no terminal it writes nothing and wakes nobody.
class Progress {
 public:
  explicit Progress(KXEventLoop& loop);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // The job must outlive finish.
  void follow(const KX::NMS::Discovery::Job& job);
  // Takes the line away.
  void finish();

 private:
  void show();

  const bool isTerminal_;
  const KX::NMS::Discovery::Job* job_ = nullptr;
  KX::Clock started_;
  std::size_t current_ = 0;
  KXEventTimeout<Progress> timer_;
};
