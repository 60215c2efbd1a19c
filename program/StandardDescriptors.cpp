// SPDX-License-Identifier: Apache-2.0
#include "program/StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

XCode prepareStandardDescriptors(ClosedOutput closedOutput) {
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(descriptor, F_GETFD) >= 0) continue;
    const bool writable = descriptor != STDIN_FILENO && closedOutput == ClosedOutput::DISCARDS;
    // The lowest free number is this one, since those below are open by now.
    if (::open("/dev/null", writable ? O_WRONLY : O_RDONLY) < 0) {
      XCode error = XCode::fromErrno(errno);
      error.extendString("/dev/null"_s, ": ");
      return error;
    }
  }
  return XCode();
}
