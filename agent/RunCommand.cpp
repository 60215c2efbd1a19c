// SPDX-License-Identifier: Apache-2.0
#include "agent/RunCommand.h"

#include <cinttypes>
#include <csignal>

#include "agent/Agent.h"
#include "agent/ClockWatch.h"
#include "agent/Device.h"
#include "platform/process/StopSignals.h"
#include "program/Complaint.h"

int runCommand(const Options& options) {
  const KX::Shell::StopSignals stopSignals;
  Device device(options);
  KX::UvEventLoop& loop = device.loop();
  const auto stop = [&loop] { loop.stop(); };
  const auto onStopSignal =
      loop.createDescriptorEvent(stopSignals.descriptor(), KXEventLoop::READABLE, [&loop](unsigned) { loop.stop(); });
  // The server's node actions hold the loop while their commands run.
  device.runner().endWaitsOn(stopSignals.descriptor());
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
  loop.run();
  agent.stop();
  return 0;
}
