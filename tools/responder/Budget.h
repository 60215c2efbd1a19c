// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>

namespace DeviceDiscovery::Responder {

// How much may be done for strangers: so many things at once, and again as time passes. What is asked for beyond that
// is not paid for later.
class Budget {
 public:
  using Time = std::chrono::steady_clock::time_point;

  Budget(unsigned most, unsigned perSecond) : most_(most), perSecond_(perSecond), left_(most) {}

  // Whether one more may be done now.
  bool take(Time now) {
    if (now > filledAt_) {
      const std::chrono::duration<double> passed = now - filledAt_;
      left_ = std::min(most_, left_ + passed.count() * perSecond_);
      filledAt_ = now;
    }
    if (left_ < 1) return false;
    left_ -= 1;
    return true;
  }

 private:
  const double most_;
  const double perSecond_;
  double left_;
  Time filledAt_{};
};

}  // namespace DeviceDiscovery::Responder
