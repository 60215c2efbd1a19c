// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "bench/limit/Input.h"

namespace Limit {

// The requests and responses of one service over datagrams. A request carries the index of its target, and the response
// brings it back.
class DatagramFormat {
 public:
  static constexpr std::size_t MAX_REQUEST = 512;

  virtual ~DatagramFormat() = default;
  virtual int openSocket() const = 0;
  // Writes the request to that target into MAX_REQUEST bytes, and returns its length.
  virtual std::size_t write(std::uint32_t index, const sockaddr_in& target, char* bytes) const = 0;
  // The index of the target that sent these bytes, or nothing when they are no positive response.
  virtual std::optional<std::uint32_t> match(std::string_view bytes) const = 0;
};

// For PING, SNMP or SIP.
std::unique_ptr<DatagramFormat> createDatagramFormat(Service service, const sockaddr_in& anyTarget);

}  // namespace Limit
