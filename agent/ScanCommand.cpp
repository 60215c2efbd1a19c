// SPDX-License-Identifier: Apache-2.0
#include "agent/ScanCommand.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "agent/Device.h"
#include "agent/NodeTable.h"
#include "agent/Progress.h"
#include "agent/ScanOutcome.h"
#include "agent/ScanPlan.h"
#include "discovery/scans/InputFiles.h"
#include "program/Complaint.h"

using KX::NMS::Discovery::createJobOfType;
using KX::NMS::Discovery::InputFiles;
using KX::NMS::Discovery::Job;
using KX::NMS::Discovery::Node;
using KX::NMS::Discovery::Repository;
using KX::Property::Value;

namespace {

// Asked before anything runs, so that only this is said when there is nothing to do.
bool selectsInterface(KXEventLoop& loop, Repository& repository, const Value& nodeScan) {
  bool selected = false;
  createJobOfType("node"_s, loop, repository, "scan"_s, 0, nodeScan)->prepare(selected);
  return selected;
}

// Runs the job to its end. False when a signal cut it short.
bool runToEnd(Device& device, const Repository& repository, Job& job) {
  KX::UvEventLoop& loop = device.loop();
  bool interrupted = false;
  const auto interrupt = [&] {
    interrupted = true;
    job.cancel();
  };
  const auto onInterrupt = loop.createSignalEvent(SIGINT, interrupt);
  const auto onTerminate = loop.createSignalEvent(SIGTERM, interrupt);
  job.statusUpdated.connect([&](Value) {
    if (job.status().isFinished()) loop.stop();
  });
  Progress progress(loop, repository, device.statusLine());
  progress.follow(job);
  job.invoke();
  if (!job.status().isFinished()) loop.run();
  progress.finish();
  return !interrupted;
}

void printJson(const Repository& repository) {
  Value nodes = Value::array(repository.getNodes().size());
  for (const auto& node : repository.getNodes()) nodes.add(node->toPropertyValue(Node::WithServices));
  std::printf("%s\n", nodes.toJson().c_str());
}

void printTable(const Repository& repository) {
  KXVector<String> physicalAddresses;
  for (const auto& node : repository.getNodes()) physicalAddresses.add(node->physicalAddress());
  const Vendors vendors(VENDOR_TABLE, physicalAddresses);
  for (const String& line : layOutNodes(repository, vendors, styleOf(Terminal(STDOUT_FILENO))))
    std::printf("%s\n", line.c_str());
}

}  // namespace

int scanCommand(const Options& options) {
  Device device(options);
  const XCode result = device.start(options);
  if (result.isErr()) return complain(result.toString());
  Repository repository;
  const Value description = describeScan(options);
  if (!selectsInterface(device.loop(), repository, description["jobs"][0])) {
    return complain("no interface was selected"_s);
  }
  // Input files carry the number: two scans by hand at once must not share one.
  const KXPtr<Job> job =
      createJobOfType("sequence"_s, device.loop(), repository, "scan"_s, static_cast<unsigned>(getpid()), description);
  bool needed = false;
  job->prepare(needed);
  const bool complete = needed && runToEnd(device, repository, *job);
  // They stay for whoever wants to see what a planned job asked for; a scan by hand has shown its result.
  device.loop().ownService<InputFiles>().clear();
  if (!complete) return complain("interrupted"_s);
  const ScanOutcome outcome = judgeScan(job->toPropertyValue(), repository);
  if (!outcome.failure.isEmpty()) return complain(outcome.failure);
  if (!outcome.warning.isEmpty()) warn(outcome.warning);
  if (options.json) {
    printJson(repository);
  } else {
    printTable(repository);
  }
  return finishOutput();
}
