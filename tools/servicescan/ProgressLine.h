// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/loop/KXEventLoop.h"
#include "tools/servicescan/Sweep.h"

namespace ServiceScan {

// One line on stderr, written over several times a second while a sweep runs and taken away in the end; nothing where
// stderr is no terminal.
class ProgressLine {
 public:
  ProgressLine(KXEventLoop& loop, const Sweep& sweep, std::size_t probes);
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine();

 private:
  void show() const;

  const Sweep& sweep_;
  const std::size_t probes_;
  std::unique_ptr<KX::TimeoutEvent> timer_;  // null: no terminal
};

}  // namespace ServiceScan
