// SPDX-License-Identifier: Apache-2.0
#include "agent/PlannedSearch.h"

#include <algorithm>

#include "agent/ScanPlan.h"

using KX::NMS::Discovery::createJobOfType;
using KX::NMS::Discovery::Job;
using KX::Property::Value;

namespace {

// What arp-scan takes with the patience that its scans have, and discovery-client.
constexpr unsigned ARP_SECONDS = 24;
constexpr unsigned DISCOVERY_SECONDS = 3;
constexpr std::size_t SCANS_EACH = 2;

}  // namespace

PlannedSearch::PlannedSearch(KXEventLoop& loop, KX::NMS::Discovery::Repository& repository, const String& jobName,
                             const std::vector<InterfaceChoice>& interfaces) {
  std::vector<String> names;
  for (const InterfaceChoice& interface : interfaces) {
    // Interfaces of one name are one rule's.
    if (std::find(names.begin(), names.end(), interface.name) != names.end()) continue;
    names.push_back(interface.name);
    jobs_.push_back(createJobOfType("node"_s, loop, repository, jobName, static_cast<unsigned>(jobs_.size()),
                                    describeNodeScanOf(interface.name)));
  }
}

void PlannedSearch::poll() {
  while (current_ < jobs_.size()) {
    Job& job = *jobs_[current_];
    if (job.status().isIdle()) {
      bool needed = false;
      job.prepare(needed);
      if (needed) job.invoke();
      if (!needed) {
        ++current_;
        continue;
      }
    }
    if (!job.status().isFinished()) return;
    ++current_;
  }
}

void PlannedSearch::cancel() {
  if (hasEnded()) return;
  jobs_[current_]->cancel();
  current_ = jobs_.size();
}

ScanStage PlannedSearch::stage() const {
  ScanStage stage{0, SCANS_EACH * jobs_.size(), String()};
  if (hasEnded()) return stage;
  const Value job = jobs_[current_]->toPropertyValue();
  std::size_t number = SCANS_EACH * current_;
  for (const Value& scan : job["scans"].elements()) {
    ++number;
    if (scan["status"].stringView() != "running") continue;
    const String type = scan["type"].toString();
    stage.number = number;
    stage.text = String::format("%s on %s", type.c_str(), scan["name"].toString().c_str());
    stage.expectedSeconds = type == "ARP" ? ARP_SECONDS : DISCOVERY_SECONDS;
  }
  return stage;
}

bool PlannedSearch::judge(ScanFailures& failures) const {
  bool hasSucceeded = false;
  for (const KXPtr<Job>& job : jobs_) {
    const Value value = job->toPropertyValue();
    for (const Value& scan : value["scans"].elements()) hasSucceeded |= failures.addScan(scan);
  }
  return hasSucceeded;
}
