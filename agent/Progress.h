// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "agent/ScanRun.h"
#include "platform/loop/KXEventTimeout.h"
#include "program/StatusLine.h"

// Shows how far a scan by hand is, and the nodes as they are found, where stderr is a terminal; nothing is left of it
// in the end. Elsewhere it wakes nobody.
class Progress {
 public:
  Progress(KXEventLoop& loop, const KX::NMS::Discovery::Repository& repository, const ScanRun& run,
           StatusLine& statusLine);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

 private:
  void show();
  void showNodes();
  void showStage();

  const KX::NMS::Discovery::Repository& repository_;
  const ScanRun& run_;
  StatusLine& statusLine_;
  std::size_t nodesShown_ = 0;
  std::size_t step_ = 0;
  KX::Clock stepStarted_;
  KXEventTimeout<Progress> timer_;
};
