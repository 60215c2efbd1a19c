// SPDX-License-Identifier: Apache-2.0
#include "links/StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace KX::NMS {

XCode prepareStandardDescriptors() {
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(descriptor, F_GETFD) >= 0) continue;
    // The lowest free number is this one, since those below are open by now.
    if (::open("/dev/null", descriptor == STDIN_FILENO ? O_RDONLY : O_WRONLY) < 0) {
      XCode error = XCode::fromErrno(errno);
      error.extendString("/dev/null"_s, ": ");
      return error;
    }
  }
  return XCode();
}

}  // namespace KX::NMS
