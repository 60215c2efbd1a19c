// SPDX-License-Identifier: Apache-2.0
#include "agent/RunCommand.h"

#include <cinttypes>
#include <csignal>

#include "agent/Agent.h"
#include "agent/ClockWatch.h"
#include "agent/Device.h"
#include "platform/process/StopSignals.h"
#include "program/Complaint.h"
#include "program/ServiceNotifier.h"

namespace {

// A command that is waited for holds the loop, and many may follow one another: that is work, and no reason for
// systemd's watchdog to end the agent.
class WatchedRunner final : public KX::Shell::Runner {
 public:
  WatchedRunner(KX::Shell::Runner& runner, ServiceNotifier& notifier) : runner_(runner), notifier_(notifier) {}

  XCode invoke(const KX::Shell::Command& command, KX::Shell::Terminated terminated, KX::Shell::Output output,
               KX::Shell::Output errorOutput, KX::Future<String>& future) override {
    return runner_.invoke(command, std::move(terminated), std::move(output), std::move(errorOutput), future);
  }
  XCode execute(const KX::Shell::Command& command) override {
    notifier_.alive();
    return runner_.execute(command);
  }

 private:
  KX::Shell::Runner& runner_;
  ServiceNotifier& notifier_;
};

}  // namespace

int runCommand(const Options& options) {
  const KX::Shell::StopSignals stopSignals;
  Device device(options);
  KX::UvEventLoop& loop = device.loop();
  const auto stop = [&loop] { loop.stop(); };
  const auto onStopSignal =
      loop.createDescriptorEvent(stopSignals.descriptor(), KXEventLoop::READABLE, [&loop](unsigned) { loop.stop(); });
  // The server's node actions hold the loop while their commands run.
  device.runner().endWaitsOn(stopSignals.descriptor());
  ServiceNotifier notifier(loop);
  WatchedRunner runner(*loop.service<KX::Shell::Runner>(), notifier);
  loop.provide<KX::Shell::Runner>(&runner);
  XCode result = device.start(options);
  if (result.isErr()) return complain(result.toString());
  Agent agent(loop, device.monitor(), options);
  const auto onDiagnose = loop.createSignalEvent(SIGUSR1, [&] { device.errorOutput().writeText(agent.describe()); });
  const ClockWatch clockWatch(loop, [&](std::int64_t seconds) {
    device.monitor().note(RTD::OUTCOME, "[agent] "_s, "The clock went back by %" PRId64 " s", seconds);
    agent.takePlanAnew();
  });
  result = agent.start(stop);
  if (result.isErr()) return complain(result.toString());
  notifier.ready();
  loop.run();
  agent.stop();
  return 0;
}
