// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/base/String.h"

namespace ServiceScan {

// What can be asked of a host.
enum class Service : std::uint8_t { PING, HTTP, HTTPS, SNMP, SIP };
inline constexpr std::size_t SERVICES = 5;

using ProbeIndex = std::uint32_t;

// One service of one host, and what came of asking for it. An ended probe is successful or has a reason.
struct Probe {
  enum class State : std::uint8_t { WAITING, RUNNING, ENDED };

  String name;  // of the service, as it was given
  String model;
  String systemObjectId;
  String reason;
  std::uint64_t cookie;  // a random number by which an answer is known; see giveCookies
  std::uint32_t host;
  std::uint16_t port;
  Service service;
  State state = State::WAITING;
  bool successful = false;
  bool isFresh = false;  // for the pace
};

struct Host {
  String text;  // the address, as it was given
  String reason;
  std::uint32_t address;  // in host byte order; 0 with a reason
  ProbeIndex firstProbe;
  ProbeIndex endProbe;
};

// Everything that one run asks: the probes of a host stand together, in the order that they were given.
struct Targets {
  std::vector<Host> hosts;
  std::vector<Probe> probes;

  std::uint32_t addressOf(const Probe& probe) const { return hosts[probe.host].address; }
};

}  // namespace ServiceScan
