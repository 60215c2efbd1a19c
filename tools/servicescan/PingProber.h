// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/servicescan/DatagramProber.h"

namespace ServiceScan {

// ICMP echo, over a ping socket where the system allows one to everybody, else over a raw one.
class PingProber final : public DatagramProber {
 public:
  PingProber(KXEventLoop& loop, Outcome& outcome, const Targets& targets);

 private:
  std::size_t compose(ProbeIndex probe, std::span<char, MAX_QUESTION_BYTES> question) override;
  void read(const Answer& answer) override;

  bool isRaw_ = false;
};

}  // namespace ServiceScan
