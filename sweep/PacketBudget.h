// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>

namespace HostSweep {

// A limit of packets a second, shared by all that sends; 0 is none.
class PacketBudget {
 public:
  explicit PacketBudget(std::uint32_t packetsPerSecond) : rate_(packetsPerSecond) {}

  // Time goes on; what is not used within a twentieth of a second is lost.
  void refill(std::int64_t now) {
    if (now > last_) available_ = std::min(available_ + rate_ * (now - last_), std::max(rate_ * 50, PACKET));
    last_ = now;
  }
  bool take() {
    if (rate_ == 0) return true;
    if (available_ < PACKET) return false;
    available_ -= PACKET;
    return true;
  }

 private:
  static constexpr std::int64_t PACKET = 1000;  // packets a second times milliseconds
  std::int64_t rate_;
  std::int64_t available_ = 0;
  std::int64_t last_ = 0;
};

}  // namespace HostSweep
