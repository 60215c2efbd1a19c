// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <signal.h>

#include "platform/base/Export.h"
#include "platform/process/Descriptor.h"

namespace KX::Shell {

// The signals that ask a program to end, SIGTERM and SIGINT, as a descriptor that is readable from the first one on. A
// loop can watch it, and what holds the loop can look at it, which no handler of the loop's could tell. Made at the
// program's start, before any other thread; while it lives the two signals do nothing else.
class KX_EXPORT StopSignals {
 public:
  StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;
  ~StopSignals();

  // -1 where the system has no such thing; the signals then do what they always did.
  int descriptor() const { return descriptor_.get(); }

 private:
  sigset_t before_;
  Descriptor descriptor_;
};

}  // namespace KX::Shell
