// SPDX-License-Identifier: Apache-2.0
#include "platform/process/Shell.h"

#include <utility>

#include "platform/loop/KXEventLoop.h"

namespace KX::Shell {

namespace {

Runner* currentRunner() {
  const KXEventLoop* loop = KXEventLoop::current();
  return loop == nullptr ? nullptr : loop->service<Runner>();
}

XCode noRunner() { return XCode::error("No command runner on this thread"_s); }

}  // namespace

XCode invoke(const Command& command, Terminated terminated, Output output, Output errorOutput, Future<String>& future) {
  Runner* runner = currentRunner();
  if (runner == nullptr) return noRunner();
  return runner->invoke(command, std::move(terminated), std::move(output), std::move(errorOutput), future);
}

XCode execute(const Command& command) {
  Runner* runner = currentRunner();
  return runner == nullptr ? noRunner() : runner->execute(command);
}

}  // namespace KX::Shell
