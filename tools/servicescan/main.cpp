// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "platform/base/Memory.h"
#include "platform/loop/UvEventLoop.h"
#include "program/Complaint.h"
#include "program/StandardDescriptors.h"
#include "program/Terminal.h"
#include "tools/servicescan/Cookie.h"
#include "tools/servicescan/Options.h"
#include "tools/servicescan/PingProber.h"
#include "tools/servicescan/ProgressLine.h"
#include "tools/servicescan/Report.h"
#include "tools/servicescan/SipProber.h"
#include "tools/servicescan/SnmpProber.h"
#include "tools/servicescan/StreamProber.h"
#include "tools/servicescan/SweepCommand.h"
#include "tools/servicescan/TargetArguments.h"
#include "tools/servicescan/TargetFile.h"

namespace ServiceScan {
namespace {

std::int64_t steadyMilliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// Connections are descriptors, and the usual limit of 1,024 is there for programs that use select.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  static_cast<void>(setrlimit(RLIMIT_NOFILE, &limit));
}

// A service that nobody asks for needs no prober.
Sweep::Probers makeProbers(KXEventLoop& loop, const Options& options, const Targets& targets, Outcome& outcome) {
  std::array<bool, SERVICES> isAsked{};
  for (const Probe& probe : targets.probes) {
    isAsked[static_cast<std::size_t>(probe.service)] |= probe.state == Probe::State::WAITING;
  }
  Sweep::Probers probers;
  const auto use = [&](Service service, auto make) {
    const auto index = static_cast<std::size_t>(service);
    if (isAsked[index]) probers[index] = make();
  };
  use(Service::PING, [&] { return std::make_unique<PingProber>(loop, outcome, targets); });
  use(Service::HTTP, [&] { return std::make_unique<StreamProber>(loop, outcome, targets, Service::HTTP); });
  use(Service::HTTPS, [&] { return std::make_unique<StreamProber>(loop, outcome, targets, Service::HTTPS); });
  use(Service::SNMP, [&] { return std::make_unique<SnmpProber>(loop, outcome, targets, options.community); });
  use(Service::SIP, [&] { return std::make_unique<SipProber>(loop, outcome, targets); });
  return probers;
}

XCode sweepAll(const Options& options, Targets& targets) {
  KX::UvEventLoop loop;
  XCode result = loop.status();
  if (result.isSuccess()) result = giveCookies(targets.probes);
  if (result.isErr()) return result;
  HostSweep::Neighbours neighbours;
  Sweep sweep(loop, steadyMilliseconds, options.sweep, neighbours, targets);
  Sweep::Probers probers = makeProbers(loop, options, targets, sweep);
  const ProgressLine progress(loop, sweep, targets.probes.size());
  sweep.start(probers);
  loop.run();
  return XCode();
}

int scan(const Options& options) {
  Targets targets;
  XCode result;
  if (options.targetFile.isEmpty()) {
    result = readTargets(options.targets, targets);
    if (result.isErr()) return complainOfUsage(result.toString());
  } else {
    result = readTargets(options.targetFile, warn, targets);
    if (result.isErr()) {
      result.extendString(options.targetFile, ": ");
      return complain(result.toString());
    }
  }
  const bool isNothingToAsk = isAllWrong(targets);
  raiseDescriptorLimit();
  result = sweepAll(options, targets);
  if (result.isErr()) return complain(result.toString());
  if (options.json) {
    printJson(targets, stdout);
  } else {
    printTable(targets, styleOf(Terminal(STDOUT_FILENO)), stdout);
  }
  const int status = finishOutput();
  return status == EXIT_DONE && isNothingToAsk ? complain("every line is wrong"_s) : status;
}

int sweepHosts(const Options& options) {
  const XCode result = sweepAndPrint(options, styleOf(Terminal(STDOUT_FILENO)), stdout);
  return result.isErr() ? complain(result.toString()) : finishOutput();
}

}  // namespace
}  // namespace ServiceScan

int main(int argc, char* argv[]) {
  using namespace ServiceScan;
  KX::endProcessWhenOutOfMemory();
  Options options;
  XCode result = parseOptions(argc, argv, options);
  if (result.isErr()) return complainOfUsage(result.toString());
  result = prepareStandardDescriptors(ClosedOutput::FAILS);
  if (result.isErr()) return complain(result.toString());
  switch (options.command) {
    case Options::Command::HELP:
      return print(usage());
    case Options::Command::VERSION:
      return print("servicescan " TOOL_VERSION "\n"_s);
    case Options::Command::SCAN:
      return scan(options);
    case Options::Command::SWEEP:
      return sweepHosts(options);
  }
  return EXIT_DONE;
}
