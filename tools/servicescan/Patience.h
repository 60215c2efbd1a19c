// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace ServiceScan {

// How long a try waits at a host that has shown no sign of life: less than the time-out on a network whose hosts are
// quick, and never less than the slowest of them would have needed twice over.
class Patience {
 public:
  static constexpr std::int64_t LEAST_MS = 500;
  // From fewer hosts than this nothing is concluded.
  static constexpr std::size_t ENOUGH_HOSTS = 8;

  explicit Patience(std::int64_t timeoutMs) : timeoutMs_(timeoutMs) {}

  // A host has shown its first sign of life, so long after it was first asked.
  void onFirstSign(std::int64_t ms) {
    ++hosts_;
    longestMs_ = std::max(longestMs_, ms);
  }

  std::int64_t milliseconds() const {
    if (hosts_ < ENOUGH_HOSTS) return timeoutMs_;
    return std::max(std::min(2 * longestMs_, timeoutMs_), least());
  }
  // However quick the others are.
  std::int64_t least() const { return std::min(LEAST_MS, timeoutMs_); }

 private:
  const std::int64_t timeoutMs_;
  std::int64_t longestMs_ = 0;
  std::size_t hosts_ = 0;
};

}  // namespace ServiceScan
