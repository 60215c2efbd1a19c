// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/base/String.h"
#include "platform/loop/KXEventLoop.h"

namespace DeviceDiscovery::Responder {

// A kind of log line that strangers can bring about as often as they like. It goes out at once, and then at most once a
// minute: the latest one, with the number of all that came in the minute.
class RepeatedLine {
 public:
  explicit RepeatedLine(KXEventLoop& loop);

  void log(const String& line);

 private:
  void onMinuteOver();

  std::unique_ptr<KX::TimeoutEvent> minute_;
  bool isMinute_ = false;  // one has gone out less than a minute ago
  unsigned count_ = 0;     // since then
  String latest_;
};

}  // namespace DeviceDiscovery::Responder
