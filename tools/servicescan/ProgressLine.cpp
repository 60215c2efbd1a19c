// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/ProgressLine.h"

#include <unistd.h>

#include <cstdio>

namespace ServiceScan {
namespace {

constexpr unsigned PRIORITY = 2;
constexpr std::uint64_t REFRESH_MS = 200;
constexpr char ERASE_LINE[] = "\r\033[K";

}  // namespace

ProgressLine::ProgressLine(KXEventLoop& loop, const Sweep& sweep, std::size_t probes) : sweep_(sweep), probes_(probes) {
  if (isatty(STDERR_FILENO) != 1) return;
  timer_ = loop.createTimeoutEvent(PRIORITY, [this] { show(); });
  timer_->start(REFRESH_MS, true, false);
}

ProgressLine::~ProgressLine() {
  if (timer_ != nullptr) std::fputs(ERASE_LINE, stderr);
}

void ProgressLine::show() const {
  std::fprintf(stderr, "%s%zu of %zu probes, %zu answered", ERASE_LINE, sweep_.ended(), probes_, sweep_.successful());
  std::fflush(stderr);
}

}  // namespace ServiceScan
