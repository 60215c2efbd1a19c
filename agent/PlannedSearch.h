// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "agent/InterfaceChoice.h"
#include "agent/Search.h"
#include "discovery/scheduling/Job.h"

// Finds nodes as a plan does: a node scan of each interface, one after another.
class PlannedSearch final : public Search {
 public:
  PlannedSearch(KXEventLoop& loop, KX::NMS::Discovery::Repository& repository, const String& jobName,
                const std::vector<InterfaceChoice>& interfaces);

  void start() override { poll(); }
  void cancel() override;
  void poll() override;
  bool isBusy() const override { return !hasEnded(); }
  bool hasEnded() const override { return current_ == jobs_.size(); }
  ScanStage stage() const override;
  bool judge(ScanFailures& failures) const override;

 private:
  std::vector<KXPtr<KX::NMS::Discovery::Job>> jobs_;
  std::size_t current_ = 0;
};
