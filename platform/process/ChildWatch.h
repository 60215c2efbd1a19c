// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/base/XCode.h"
#include "platform/loop/KXEventLoop.h"
#include "platform/process/Child.h"

namespace KX::Shell {

// Tells on the loop that a child has ended, which can then be reaped. The child's pidfd says so; where the system has
// none (an old kernel, an emulator, no descriptor left) every SIGCHLD makes it look. The child stays where it is while
// the watch stands. The handler may end the watch.
class ChildWatch {
 public:
  enum class Way { PIDFD, SIGNAL };

  // Never calls the handler inside.
  [[nodiscard]] XCode start(KXEventLoop& loop, const Child& child, Way way, const KXEventLoop::Handler& ended);
  void stop();

 private:
  bool watchPidfd(KXEventLoop& loop, const Child& child, const KXEventLoop::Handler& ended);
  bool watchSignal(KXEventLoop& loop, const Child& child, const KXEventLoop::Handler& ended);

  Descriptor pidfd_;
  std::unique_ptr<WatchEvent> event_;
  std::unique_ptr<TimeoutEvent> firstLook_;
};

}  // namespace KX::Shell
