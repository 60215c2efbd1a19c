// SPDX-License-Identifier: Apache-2.0
#include "platform/process/StopSignals.h"

#include <sys/signalfd.h>

#include <initializer_list>

namespace KX::Shell {

StopSignals::StopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT}) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, &before_);
  descriptor_ = Descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!descriptor_) pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

StopSignals::~StopSignals() {
  // One that came and was seen is not to end the program now that it ends by itself.
  signalfd_siginfo seen{};
  while (read(descriptor_.get(), &seen, sizeof(seen)) > 0) {
  }
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace KX::Shell
