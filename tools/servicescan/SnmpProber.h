// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/servicescan/DatagramProber.h"

namespace ServiceScan {

// SNMP version 2c: any response to a GET of the system's description and object identifier.
class SnmpProber final : public DatagramProber {
 public:
  SnmpProber(KXEventLoop& loop, Outcome& outcome, const Targets& targets, const String& community);

 private:
  std::size_t compose(ProbeIndex probe, std::span<char, MAX_QUESTION_BYTES> question) override;
  void read(const Answer& answer) override;

  const String community_;
};

}  // namespace ServiceScan
