// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <netinet/in.h>

#include <array>
#include <cstdint>
#include <istream>
#include <string_view>
#include <vector>

namespace Limit {

enum Service { PING, SNMP, SIP, HTTP, HTTPS };

inline constexpr std::array<std::string_view, 5> SERVICE_NAMES = {"ping", "snmp", "sip", "http", "https"};

struct Host {
  in_addr address;
  unsigned services;  // how many
};

struct Target {
  sockaddr_in address;
  std::uint32_t host;
};

// Both in the order of the input.
struct Input {
  std::vector<Host> hosts;
  std::array<std::vector<Target>, SERVICE_NAMES.size()> targets;
};

// Reads lines such as "192.0.2.20 http:80 ping:0". Throws std::runtime_error.
Input readInput(std::istream& stream);

}  // namespace Limit
