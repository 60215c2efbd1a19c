// SPDX-License-Identifier: Apache-2.0
#include "agent/ScanCommand.h"

#include <csignal>
#include <cstdio>

#include "agent/Complaint.h"
#include "agent/Device.h"
#include "agent/NodeTable.h"
#include "agent/Progress.h"
#include "discovery/scheduling/Job.h"

using KX::NMS::Discovery::createJobOfType;
using KX::NMS::Discovery::Job;
using KX::NMS::Discovery::Node;
using KX::NMS::Discovery::Repository;
using KX::Property::Value;

namespace {

Value describeScan(const Options& options) {
  Value description = Value::object(3);
  description["id"_s] = "scan"_s;
  description["scanType"_s] = "node"_s;
  if (options.interfaces.isEmpty()) return description;
  Value rules = Value::array(options.interfaces.size());
  for (const String& expression : options.interfaces) {
    Value rule = Value::object(2);
    rule["regex"_s] = expression;
    rule["privateNetworksOnly"_s] = false;
    rules.add(rule);
  }
  description["interfaces"_s] = rules;
  return description;
}

bool hasSuccessfulScan(const Value& job) {
  for (const Value& scan : job["scans"].elements()) {
    if (scan["status"].toString() == "successful") return true;
  }
  return false;
}

// Why there is nothing to print: the reasons that the scans give for themselves.
String describeFailure(const Value& job) {
  String text("no scan succeeded"_s);
  const char* separator = ": ";
  for (const Value& scan : job["scans"].elements()) {
    text.concatf("%s%s scan on %s: %s", separator, scan["type"].toString().c_str(), scan["name"].toString().c_str(),
                 scan["reason"].toString().c_str());
    separator = "; ";
  }
  return text;
}

void printJson(const Repository& repository) {
  Value nodes = Value::array(repository.getNodes().size());
  for (const auto& node : repository.getNodes()) nodes.add(node->toPropertyValue(Node::WithServices));
  std::printf("%s\n", nodes.toJson().c_str());
}

}  // namespace

int scanCommand(const Options& options) {
  Device device(options);
  const XCode result = device.start(options);
  if (result.isErr()) return complain(result.toString(), 1);
  KX::UvEventLoop& loop = device.loop();
  Repository repository;
  const KXPtr<Job> job = createJobOfType("node"_s, loop, repository, "scan"_s, 0, describeScan(options));
  bool needed = false;
  job->prepare(needed);
  if (!needed) return complain("no interface was selected"_s, 1);
  Progress progress(loop);
  bool interrupted = false;
  const auto interrupt = [&] {
    interrupted = true;
    job->cancel();
  };
  const auto onInterrupt = loop.createSignalEvent(SIGINT, interrupt);
  const auto onTerminate = loop.createSignalEvent(SIGTERM, interrupt);
  job->statusUpdated.connect([&](Value) {
    if (job->status().isFinished()) loop.stop();
  });
  progress.follow(*job);
  job->invoke();
  loop.run();
  progress.finish();
  const Value value = job->toPropertyValue();
  if (interrupted) return complain("interrupted"_s, 1);
  if (!hasSuccessfulScan(value)) return complain(describeFailure(value), 1);
  if (options.json) {
    printJson(repository);
  } else {
    printNodeTable(repository);
  }
  return 0;
}
