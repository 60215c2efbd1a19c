// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>

#include "tools/servicescan/Probe.h"

namespace ServiceScan {

// How many probes of one service may leave ahead of their answers. Those that have waited for a while count no more:
// silent hosts must not hold up the others.
class Pace {
 public:
  static constexpr std::size_t WINDOW = 128;
  static constexpr std::int64_t PATIENCE_MS = 150;

  bool allows(std::int64_t now, std::vector<Probe>& probes) {
    for (; !sent_.empty() && sent_.front().at + PATIENCE_MS <= now; sent_.pop_front()) {
      onEnded(probes[sent_.front().probe]);
    }
    return fresh_ < WINDOW;
  }
  void onStarted(std::int64_t now, ProbeIndex index, Probe& probe) {
    probe.isFresh = true;
    ++fresh_;
    sent_.push_back({now, index});
  }
  void onEnded(Probe& probe) {
    if (!probe.isFresh) return;
    probe.isFresh = false;
    --fresh_;
  }

 private:
  struct Sent {
    std::int64_t at;
    ProbeIndex probe;
  };
  std::deque<Sent> sent_;
  std::size_t fresh_ = 0;
};

}  // namespace ServiceScan
