// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "platform/loop/KXEventLoop.h"
#include "platform/process/ChildWatch.h"
#include "platform/process/ProcessFuture.h"
#include "platform/process/ProcessLimits.h"
#include "platform/process/Shell.h"

namespace KX::Shell {

// Runs commands as child processes, any number at a time, each in a process group of its own, within the given limits.
// It hangs itself on the loop, and goes before the loop does; what still runs then is killed and reaped without a
// callback. A callback may destroy it.
class ProcessRunner final : public Runner {
 public:
  explicit ProcessRunner(KXEventLoop& loop, const ProcessLimits& limits = {},
                         ChildWatch::Way way = ChildWatch::Way::PIDFD);
  ProcessRunner(const ProcessRunner&) = delete;
  ProcessRunner& operator=(const ProcessRunner&) = delete;
  ~ProcessRunner() override;

  [[nodiscard]] XCode invoke(const Command& command, Terminated terminated, Output output, Output errorOutput,
                             Future<String>& future) override;
  // Holds the thread and leaves the loop alone.
  [[nodiscard]] XCode execute(const Command& command) override;

 private:
  void forget(const ProcessFuture& process);

  KXEventLoop& loop_;
  const ProcessLimits limits_;
  const ChildWatch::Way way_;
  std::vector<KXPtr<ProcessFuture>> running_;
};

}  // namespace KX::Shell
