// SPDX-License-Identifier: Apache-2.0
#include "agent/ScanCommand.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>

#include "agent/Device.h"
#include "agent/ExplainingRunner.h"
#include "agent/InterfaceChoice.h"
#include "agent/NodeTable.h"
#include "agent/PlannedSearch.h"
#include "agent/Preflight.h"
#include "agent/Progress.h"
#include "agent/QuickSearch.h"
#include "agent/ScanPlan.h"
#include "agent/ScanRun.h"
#include "discovery/scans/InputFiles.h"
#include "platform/text/Printable.h"
#include "program/Complaint.h"
#include "program/TextWidth.h"

using KX::NMS::Discovery::InputFiles;
using KX::NMS::Discovery::Node;
using KX::NMS::Discovery::Repository;
using KX::Property::Value;

namespace {

using Choices = std::vector<InterfaceChoice>;
using Seconds = std::chrono::duration<double>;

constexpr int SIGNALLED = 128;

int complainOfChoices(const Choices& choices) {
  const int status = complain("no interface was selected"_s);
  for (const InterfaceChoice& choice : choices) {
    std::fprintf(stderr, "  %s\n", toPrintable(describe(choice)).c_str());
  }
  return status;
}

std::unique_ptr<Search> makeSearch(Device& device, Repository& repository, const Options& options,
                                   const String& jobName, const Choices& chosen) {
  if (options.thorough) return std::make_unique<PlannedSearch>(device.loop(), repository, jobName, chosen);
  return std::make_unique<QuickSearch>(device.loop(), repository, chosen, options.maxAddresses);
}

// Runs it to its end, and returns 0 or the signal that cut it short.
int runToEnd(Device& device, const Repository& repository, ScanRun& run) {
  KX::UvEventLoop& loop = device.loop();
  int signalled = 0;
  const auto interruptBy = [&](int signal) {
    return [&, signal] {
      signalled = signal;
      loop.stop();
    };
  };
  const auto onInterrupt = loop.createSignalEvent(SIGINT, interruptBy(SIGINT));
  const auto onTerminate = loop.createSignalEvent(SIGTERM, interruptBy(SIGTERM));
  const auto onHangUp = loop.createSignalEvent(SIGHUP, interruptBy(SIGHUP));
  const Progress progress(loop, repository, run, device.statusLine());
  run.start([&loop] { loop.stop(); });
  loop.run();
  if (signalled != 0) run.cancel();
  return signalled;
}

void printJson(const Repository& repository) {
  Value nodes = Value::array(repository.getNodes().size());
  for (const auto& node : repository.getNodes()) nodes.add(node->toPropertyValue(Node::WithServices));
  std::printf("%s\n", nodes.toJson().c_str());
}

void printTable(const Repository& repository, const ServiceAnswers& answers, const String& summary,
                const String& services) {
  KXVector<String> physicalAddresses;
  for (const auto& node : repository.getNodes()) physicalAddresses.add(node->physicalAddress());
  const Vendors vendors(VENDOR_TABLE, physicalAddresses);
  const TableStyle style = styleOf(Terminal(STDOUT_FILENO));
  std::vector<String> lines = layOutNodes(repository, vendors, answers, style);
  for (const String& line : {summary, String::format("looked for %s", services.c_str())}) {
    lines.push_back(style.width == 0 ? line : fitToWidth(line, style.width));
  }
  for (const String& line : lines) std::printf("%s\n", line.c_str());
}

int report(const Options& options, const Repository& repository, const ScanRun& run, std::size_t networks,
           Seconds duration) {
  if (options.json) {
    printJson(repository);
  } else {
    const String summary = String::format("%s on %zu %s in %.1f s", summarise(repository).c_str(), networks,
                                          networks == 1 ? "network" : "networks", duration.count());
    printTable(repository, run.answers(), summary, describeServices(options));
  }
  return finishOutput();
}

int scan(Device& device, const Options& options, const Choices& chosen) {
  const auto start = std::chrono::steady_clock::now();
  const ExplainingRunner runner(device.loop(), device.runner());
  Repository repository(options.nodeLimit);
  // Input files carry the job's name: two scans by hand at once must not share one.
  const String jobName = String::format("scan.%d", static_cast<int>(getpid()));
  ScanRun run(device.loop(), repository, options, jobName, makeSearch(device, repository, options, jobName, chosen));
  const int signalled = runToEnd(device, repository, run);
  // They stay for whoever wants to see what a planned job asked for; a scan by hand has shown its result.
  device.loop().ownService<InputFiles>().clear();
  const ScanOutcome outcome = run.outcome();
  if (signalled == 0 && !outcome.failure.isEmpty()) return complain(outcome.failure);
  if (signalled == 0 && !outcome.warning.isEmpty()) warn(outcome.warning);
  const int status = report(options, repository, run, chosen.size(), std::chrono::steady_clock::now() - start);
  return signalled == 0 ? status : complain("interrupted"_s, SIGNALLED + signalled);
}

}  // namespace

int scanCommand(const Options& options) {
  Device device(options);
  XCode result = device.start(options);
  Choices choices;
  if (result.isSuccess()) result = chooseInterfaces(device.loop(), device.sink(), describeNodeScan(options), choices);
  if (result.isErr()) return complain(result.toString());
  Choices chosen = choices;
  std::erase_if(chosen, [](const InterfaceChoice& choice) { return !choice.isChosen; });
  if (chosen.empty()) return complainOfChoices(choices);
  const Preflight preflight = checkTools(options.thorough);
  if (preflight.isHopeless) return complain(String::format("nothing can be scanned: %s", preflight.missing.c_str()));
  if (!preflight.missing.isEmpty()) warn(preflight.missing);
  return scan(device, options, chosen);
}
