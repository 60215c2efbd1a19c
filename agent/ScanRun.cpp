// SPDX-License-Identifier: Apache-2.0
#include "agent/ScanRun.h"

#include <utility>

#include "agent/ScanPlan.h"

using KX::NMS::Discovery::createJobOfType;
using KX::NMS::Discovery::Job;
using KX::NMS::Discovery::Repository;
using KX::NMS::Discovery::State;
using KX::Property::Value;

namespace {

constexpr unsigned PRIORITY = 2;
constexpr unsigned TICK_MS = 20;
// No further node for so long is a moment to ask those that are there.
constexpr unsigned QUIET_TICKS = 250 / TICK_MS;
// A late node has not to wait for those before it, and a network whose nodes drip in does not become a crowd of
// processes.
constexpr std::size_t MOST_ROUNDS = 3;
constexpr unsigned SERVICE_SECONDS = 3;
constexpr unsigned STATUS_SECONDS = 1;
// Behind those of the search.
constexpr std::size_t STEPS = 2;

String reasonOf(const Job& job) {
  return job.status().isIdle() ? "it could not be prepared (--verbosity 1 shows why)"_s : job.status().text();
}

}  // namespace

ScanRun::ScanRun(KXEventLoop& loop, Repository& repository, const Options& options, const String& jobName,
                 std::unique_ptr<Search> search)
    : loop_(loop),
      repository_(repository),
      options_(options),
      jobName_(jobName),
      search_(std::move(search)),
      timer_(loop, PRIORITY, *this, &ScanRun::onTick) {}

void ScanRun::start(std::function<void()> ended) {
  ended_ = std::move(ended);
  search_->start();
  timer_.start(TICK_MS, true, true);
}

void ScanRun::cancel() {
  timer_.stop();
  search_->cancel();
  oweServices();
  for (const JobPtr& job : rounds_) job->cancel();
  if (status_ != nullptr) status_->cancel();
}

void ScanRun::onTick() {
  search_->poll();
  oweServices();
  endRounds();
  endStatus();
  if (mayStartRound()) startRound();
  if (isStatusDue()) startStatus();
  const bool isOver = search_->hasEnded() && rounds_.empty() && owed() == 0 && status_ == nullptr && !isStatusDue();
  if (!isOver) return;
  timer_.stop();
  ended_();
}

// Nodes only ever join at the end of the list.
void ScanRun::oweServices() {
  const auto& nodes = repository_.getNodes();
  quietTicks_ = nodes.size() > nodesSeen_ ? 0 : quietTicks_ + 1;
  for (; nodesSeen_ < nodes.size(); ++nodesSeen_) nodes[nodesSeen_]->setPendingServiceScans(1);
}

std::size_t ScanRun::owed() const { return isHopeless_ ? 0 : repository_.getNodesWithPendingServiceScan().size(); }

bool ScanRun::mayStartRound() {
  if (rounds_.size() >= MOST_ROUNDS || owed() == 0) return false;
  return !search_->isBusy() || quietTicks_ >= QUIET_TICKS;
}

void ScanRun::startRound() {
  const JobPtr job = createJob("service", describeServiceScan(options_));
  bool isNeeded = false;
  job->prepare(isNeeded);
  if (isNeeded) job->invoke();
  if (isNeeded) {
    rounds_.push_back(job);
  } else {
    endRound(*job);
  }
}

void ScanRun::endRounds() {
  for (const JobPtr& job : rounds_) {
    if (job->status().isFinished()) endRound(*job);
  }
  std::erase_if(rounds_, [](const JobPtr& job) { return job->status().isFinished(); });
}

void ScanRun::endRound(const Job& job) {
  ++roundsEnded_;
  if (job.status().state() == State::SUCCESSFUL) return answers_.add(job.status().result());
  if (!isHopeless_) failures_.add("service scan (servicescan)"_s, String(), reasonOf(job));
  isHopeless_ = true;
}

bool ScanRun::isStatusDue() const {
  return status_ == nullptr && rounds_.empty() && owed() == 0 && !search_->isBusy() && statusOfRounds_ < roundsEnded_ &&
         !repository_.getNodesWithPendingStatusScan().isEmpty();
}

void ScanRun::startStatus() {
  statusOfRounds_ = roundsEnded_;
  status_ = createJob("status", describeStatusScan(options_));
  bool isNeeded = false;
  status_->prepare(isNeeded);
  if (isNeeded) return status_->invoke();
  failures_.add("status scan (servicescan)"_s, String(), reasonOf(*status_));
  status_ = nullptr;
}

void ScanRun::endStatus() {
  if (status_ == nullptr || !status_->status().isFinished()) return;
  if (status_->status().state() == State::FAILED) {
    failures_.add("status scan (servicescan)"_s, String(), reasonOf(*status_));
  }
  status_ = nullptr;
}

ScanRun::JobPtr ScanRun::createJob(const char* type, const Value& description) {
  return createJobOfType(type, loop_, repository_, jobName_, jobs_++, description);
}

ScanStage ScanRun::stage() const {
  ScanStage stage = search_->stage();
  const std::size_t before = stage.total;
  stage.total += STEPS;
  const std::size_t nodes = repository_.getNodes().size();
  const char* const noun = nodes == 1 ? "node" : "nodes";
  if (status_ != nullptr) {
    const std::size_t asked = repository_.getNodesWithPendingStatusScan().size();
    return {before + 2, stage.total, String::format("status of %zu %s", asked, asked == 1 ? "node" : "nodes"),
            STATUS_SECONDS};
  }
  if (!rounds_.empty() && !search_->isBusy()) {
    return {before + 1, stage.total, String::format("services of %zu %s", nodes, noun), SERVICE_SECONDS};
  }
  return stage;
}

ScanOutcome ScanRun::outcome() const {
  ScanFailures failures;
  const bool hasSucceeded = search_->judge(failures);
  if (!hasSucceeded) return {failures.describe("no scan succeeded"), String()};
  failures.add(failures_);
  return {String(), failures.isEmpty() ? String() : failures.describe("some scans failed")};
}
