// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "platform/base/Export.h"
#include "platform/loop/KXEventLoop.h"
#include "platform/process/ChildWatch.h"
#include "platform/process/ProcessFuture.h"
#include "platform/process/ProcessLimits.h"
#include "platform/process/Shell.h"

namespace KX::Shell {

// Runs commands as child processes, any number at a time, each in a process group of its own, within the given limits.
// It hangs itself on the loop, and goes before the loop does; what still runs then is killed and reaped without a
// callback. A callback may destroy it.
class KX_EXPORT ProcessRunner final : public Runner {
 public:
  explicit ProcessRunner(KXEventLoop& loop, const ProcessLimits& limits = {},
                         ChildWatch::Way way = ChildWatch::Way::PIDFD);
  ProcessRunner(const ProcessRunner&) = delete;
  ProcessRunner& operator=(const ProcessRunner&) = delete;
  ~ProcessRunner() override;

  [[nodiscard]] XCode invoke(const Command& command, Terminated terminated, Output output, Output errorOutput,
                             Future<String>& future) override;
  // From the moment the descriptor is readable (see StopSignals), a command that is waited for is killed and every
  // further one is refused, so that whoever waits comes to an end. The descriptor stays the caller's; -1 is none.
  void endWaitsOn(int descriptor) { stop_ = descriptor; }

  // Holds the thread and leaves the loop alone.
  [[nodiscard]] XCode execute(const Command& command) override;

 private:
  void forget(const ProcessFuture& process);
  std::uint32_t executeSeconds() const;

  KXEventLoop& loop_;
  const ProcessLimits limits_;
  const ChildWatch::Way way_;
  int stop_ = -1;
  std::vector<KXPtr<ProcessFuture>> running_;
};

}  // namespace KX::Shell
