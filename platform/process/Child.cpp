// SPDX-License-Identifier: Apache-2.0
#include "platform/process/Child.h"

#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace KX::Shell {

namespace {

// Zero, or the error number.
int waitForEnd(pid_t pid, siginfo_t& end, int options) {
  for (;;) {
    end = siginfo_t{};
    if (waitid(P_PID, static_cast<id_t>(pid), &end, WEXITED | options) == 0) return 0;
    if (errno != EINTR) return errno;
  }
}

XCode resultOf(const siginfo_t& end) {
  if (end.si_code == CLD_EXITED && end.si_status == 0) return XCode();
  XCode result(XCode::GENERIC_ERROR);
  result.setStringF(end.si_code == CLD_EXITED ? "Exit status %d" : "Killed by signal %d", end.si_status);
  return result;
}

}  // namespace

Child::~Child() {
  if (pid_ == 0) return;
  static_cast<void>(signal(SIGKILL));
  static_cast<void>(reap());
}

Descriptor Child::openPidfd() const {
#ifdef SYS_pidfd_open
  // Close-on-exec by definition.
  return Descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
#else
  return Descriptor();
#endif
}

bool Child::hasEnded() const {
  siginfo_t end{};
  // An error means that somebody else has reaped it, as the kernel does where SIGCHLD is ignored.
  return waitForEnd(pid_, end, WNOHANG | WNOWAIT) != 0 || end.si_pid == pid_;
}

XCode Child::signal(int signal) const {
  if (pid_ == 0) return XCode::fromErrno(ESRCH);
  // A child that has moved to another group has left none behind.
  if (kill(-pid_, signal) == 0 || (errno == ESRCH && kill(pid_, signal) == 0)) return XCode();
  return XCode::fromErrno(errno);
}

XCode Child::reap() {
  siginfo_t end{};
  int error = waitForEnd(pid_, end, WNOWAIT);
  if (error == 0) {
    // Not after reaping: the number could be another group's by then.
    kill(-pid_, SIGKILL);
    error = waitForEnd(pid_, end, 0);
  }
  pid_ = 0;
  return error == 0 ? resultOf(end) : XCode::fromErrno(error);
}

}  // namespace KX::Shell
