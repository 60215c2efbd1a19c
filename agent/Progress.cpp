// SPDX-License-Identifier: Apache-2.0
#include "agent/Progress.h"

#include <unistd.h>

#include <cstdio>

namespace {

constexpr unsigned PRIORITY = 2;
constexpr unsigned REFRESH_MS = 1000;
constexpr char ERASE_LINE[] = "\r\033[K";

}  // namespace

Progress::Progress(KXEventLoop& loop)
    : isTerminal_(isatty(STDERR_FILENO) == 1), timer_(loop, PRIORITY, *this, &Progress::show) {}

void Progress::follow(const KX::NMS::Discovery::Job& job) {
  if (!isTerminal_) return;
  job_ = &job;
  started_ = KX::Clock::NOW();
  timer_.start(REFRESH_MS, true, true);
}

void Progress::show() {
  const KX::Property::Value scans = job_->toPropertyValue()["scans"];
  for (std::size_t index = 0; index < scans.size(); ++index) {
    const KX::Property::Value& scan = std::as_const(scans)[index];
    if (!(scan["status"].toString() == "running")) continue;
    if (index != current_) started_ = KX::Clock::NOW();
    current_ = index;
    const auto seconds = KX::Clock::NOW().toTime().seconds - started_.toTime().seconds;
    std::fprintf(stderr, "%sScan %zu of %zu: %s on %s, %lld s", ERASE_LINE, index + 1, scans.size(),
                 scan["type"].toString().c_str(), scan["name"].toString().c_str(), static_cast<long long>(seconds));
    std::fflush(stderr);
  }
}

void Progress::finish() {
  if (!timer_.isActive()) return;
  timer_.stop();
  std::fputs(ERASE_LINE, stderr);
}
