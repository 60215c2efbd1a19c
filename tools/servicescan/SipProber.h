// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/servicescan/DatagramProber.h"

namespace ServiceScan {

// SIP over UDP: any final response to OPTIONS.
class SipProber final : public DatagramProber {
 public:
  SipProber(KXEventLoop& loop, Outcome& outcome, const Targets& targets);

 private:
  std::size_t compose(ProbeIndex probe, std::span<char, MAX_QUESTION_BYTES> question) override;
  void read(const Answer& answer) override;
  // The address that packets to this one come from.
  std::uint32_t localAddressTowards(std::uint32_t address);

  std::uint16_t port_ = 0;
  KX::Shell::Descriptor route_;  // asks the kernel for routes and sends nothing
};

}  // namespace ServiceScan
