// SPDX-License-Identifier: Apache-2.0
#include "agent/Progress.h"

#include "agent/ScanSteps.h"

namespace {

constexpr unsigned PRIORITY = 2;
constexpr unsigned REFRESH_MS = 1000;

}  // namespace

Progress::Progress(KXEventLoop& loop, const KX::NMS::Discovery::Repository& repository, StatusLine& statusLine)
    : repository_(repository), statusLine_(statusLine), timer_(loop, PRIORITY, *this, &Progress::show) {}

void Progress::follow(const KX::NMS::Discovery::Job& job) {
  if (!statusLine_.isVisible()) return;
  job_ = &job;
  timer_.start(REFRESH_MS, true, true);
}

void Progress::show() {
  const ScanStep step = findRunningStep(job_->toPropertyValue(), repository_);
  if (step.number == 0) return;
  const KX::Clock now = KX::Clock::NOW();
  if (step.number != current_) started_ = now;
  current_ = step.number;
  const auto seconds = now.toTime().seconds - started_.toTime().seconds;
  statusLine_.show(String::format("Scan %zu of %zu: %s, %lld s", step.number, step.total, step.text.c_str(),
                                  static_cast<long long>(seconds)));
}

void Progress::finish() {
  timer_.stop();
  statusLine_.withdraw();
}
