// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "agent/Options.h"
#include "agent/ScanOutcome.h"
#include "agent/Search.h"
#include "agent/ServiceAnswers.h"
#include "discovery/scheduling/Job.h"
#include "platform/loop/KXEventTimeout.h"

// One scan by hand: a search for nodes, their services, their status. Nodes are asked for services in rounds, as soon
// as no further ones come for a moment, so that a few late ones hold up nobody; and for their status once, at the end.
class ScanRun {
 public:
  // The job name tells its input files from those of other scans at the same time.
  ScanRun(KXEventLoop& loop, KX::NMS::Discovery::Repository& repository, const Options& options, const String& jobName,
          std::unique_ptr<Search> search);
  ScanRun(const ScanRun&) = delete;
  ScanRun& operator=(const ScanRun&) = delete;

  // Ended is called once, in a later turn of the loop; not after cancel.
  void start(std::function<void()> ended);
  void cancel();

  ScanStage stage() const;
  const ServiceAnswers& answers() const { return answers_; }
  ScanOutcome outcome() const;

 private:
  using JobPtr = KXPtr<KX::NMS::Discovery::Job>;

  void onTick();
  void oweServices();
  std::size_t owed() const;
  void endRounds();
  void endRound(const KX::NMS::Discovery::Job& job);
  bool mayStartRound();
  void startRound();
  bool isStatusDue() const;
  void startStatus();
  void endStatus();
  JobPtr createJob(const char* type, const KX::Property::Value& description);

  KXEventLoop& loop_;
  KX::NMS::Discovery::Repository& repository_;
  const Options& options_;
  const String jobName_;
  std::unique_ptr<Search> search_;
  std::function<void()> ended_;
  unsigned jobs_ = 0;
  std::size_t nodesSeen_ = 0;
  unsigned quietTicks_ = 0;     // since the last node
  std::vector<JobPtr> rounds_;  // that run
  std::size_t roundsEnded_ = 0;
  JobPtr status_;  // null: none runs
  std::size_t statusOfRounds_ = 0;
  bool isHopeless_ = false;  // to ask for services
  ServiceAnswers answers_;
  ScanFailures failures_;
  KXEventTimeout<ScanRun> timer_;
};
