// SPDX-License-Identifier: Apache-2.0
#include "agent/ScanSteps.h"

using KX::NMS::Discovery::Repository;
using KX::Property::Value;

namespace {

bool isRunning(const Value& value) { return value["status"].stringView() == "running"; }

String describeJob(const Value& job, const Repository& repository) {
  const bool asksStatus = job["scanType"].stringView() == "status";
  const std::size_t nodes =
      asksStatus ? repository.getNodesWithPendingStatusScan().size() : repository.getNodes().size();
  return String::format("%s of %zu %s", asksStatus ? "status" : "services", nodes, nodes == 1 ? "node" : "nodes");
}

void enter(bool running, const String& text, ScanStep& step) {
  ++step.total;
  if (!running) return;
  step.number = step.total;
  step.text = text;
}

void addScan(const Value& scan, ScanStep& step) {
  const String text = String::format("%s on %s", scan["type"].toString().c_str(), scan["name"].toString().c_str());
  enter(isRunning(scan), text, step);
}

// Sequences nest as deep as a description may.
void addJob(const Value& job, const Repository& repository, ScanStep& step) {
  const Value* const jobs = job.find("jobs");
  const Value* const scans = job.find("scans");
  if (jobs != nullptr) {
    for (const Value& part : jobs->elements()) addJob(part, repository, step);
  } else if (scans != nullptr) {
    for (const Value& scan : scans->elements()) addScan(scan, step);
  } else {
    enter(isRunning(job), describeJob(job, repository), step);
  }
}

}  // namespace

ScanStep findRunningStep(const Value& job, const Repository& repository) {
  ScanStep step;
  addJob(job, repository, step);
  return step;
}
