// SPDX-License-Identifier: Apache-2.0
#include "platform/process/ChildWatch.h"

#include <signal.h>

#include <cerrno>

namespace KX::Shell {

XCode ChildWatch::start(KXEventLoop& loop, const Child& child, Way way, const KXEventLoop::Handler& ended) {
  if (way == Way::PIDFD && watchPidfd(loop, child, ended)) return XCode();
  return watchSignal(loop, child, ended) ? XCode() : XCode::error("Cannot watch a child process"_s);
}

void ChildWatch::stop() {
  event_.reset();
  firstLook_.reset();
  pidfd_.reset();
}

bool ChildWatch::watchPidfd(KXEventLoop& loop, const Child& child, const KXEventLoop::Handler& ended) {
  pidfd_ = child.openPidfd();
  if (!pidfd_) return false;
  event_ = loop.createDescriptorEvent(pidfd_.get(), KXEventLoop::READABLE, [ended](unsigned) { ended(); });
  return event_ != nullptr;
}

bool ChildWatch::watchSignal(KXEventLoop& loop, const Child& child, const KXEventLoop::Handler& ended) {
  const auto look = [&child, ended] {
    if (child.hasEnded()) ended();
  };
  event_ = loop.createSignalEvent(SIGCHLD, look);
  // The child may have ended before anyone listened.
  firstLook_ = loop.createTimeoutEvent(0, look);
  firstLook_->start(0, false, false);
  return event_ != nullptr;
}

}  // namespace KX::Shell
