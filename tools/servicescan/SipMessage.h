// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/base/String.h"

namespace ServiceScan {

// An OPTIONS request, and what its response has to carry back.
struct SipRequest {
  std::uint64_t cookie;
  std::uint32_t number;
  std::uint32_t local;  // addresses in host byte order
  std::uint32_t remote;
  std::uint16_t localPort;
  std::uint16_t remotePort;
};

struct SipResponse {
  std::uint64_t cookie;
  std::uint32_t number;
  unsigned status;
  String model;  // User-Agent, or else Server
};

// Returns the length, 0 where it does not fit.
std::size_t writeSipOptions(const SipRequest& request, std::span<char> message);

// False for anything but a well-formed response to such a request.
bool readSipResponse(std::string_view message, SipResponse& response);

}  // namespace ServiceScan
