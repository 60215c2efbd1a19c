// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "discovery/common/Log.h"
#include "platform/testing/LogCapture.h"

namespace KX::NMS::Discovery {

// Captures what the library logs while it exists, at the given verbosity. Human times are shown in UTC from then on.
class DiscoveryLog {
 public:
  explicit DiscoveryLog(unsigned verbosity = 3)
      : monitor_("discovery", verbosity, capture_), previous_(std::exchange(MON, &monitor_)) {
    setenv("TZ", "UTC", 1);
  }
  DiscoveryLog(const DiscoveryLog&) = delete;
  DiscoveryLog& operator=(const DiscoveryLog&) = delete;
  ~DiscoveryLog() { MON = previous_; }

  void setVerbosity(unsigned verbosity) { monitor_.setVerbosity(verbosity); }

  // What came since the last call.
  std::vector<std::string> takeLines() {
    std::vector<std::string> lines = capture_.lines();
    capture_.clear();
    return lines;
  }
  // The same with the kind in front: "4 [Job a.0] Cannot prepare in state running".
  std::vector<std::string> takeKindsAndLines() {
    std::vector<std::string> lines;
    for (const Testing::LogCapture::Entry& entry : capture_.entries()) {
      lines.push_back(std::to_string(entry.kind) + " " + entry.line());
    }
    capture_.clear();
    return lines;
  }
  void clear() { capture_.clear(); }
  const Testing::LogCapture& capture() const { return capture_; }

 private:
  Testing::LogCapture capture_;
  RTD::Monitor monitor_;
  RTD::Monitor* previous_;
};

}  // namespace KX::NMS::Discovery
