// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/RepeatedLine.h"

#include "tools/responder/Log.h"

namespace DeviceDiscovery::Responder {
namespace {

constexpr std::uint64_t MINUTE_MS = 60'000;

}  // namespace

RepeatedLine::RepeatedLine(KXEventLoop& loop) : minute_(loop.createTimeoutEvent(0, [this] { onMinuteOver(); })) {}

void RepeatedLine::log(const String& line) {
  if (isMinute_) {
    ++count_;
    latest_ = line;
    return;
  }
  Responder::log("%s", line.c_str());
  isMinute_ = true;
  minute_->start(MINUTE_MS, false, false);
}

void RepeatedLine::onMinuteOver() {
  isMinute_ = count_ > 0;
  if (!isMinute_) return;
  Responder::log("%s (%u such in the last minute)", latest_.c_str(), count_);
  count_ = 0;
  minute_->start(MINUTE_MS, false, false);
}

}  // namespace DeviceDiscovery::Responder
