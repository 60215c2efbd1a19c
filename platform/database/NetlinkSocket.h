// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/KXVector.h"
#include "platform/base/XCode.h"
#include "platform/database/NetlinkMessages.h"

struct mnl_socket;

namespace DB::Netlink {

// A socket on which the kernel tells what changes about its interfaces and their IPv4 addresses, and lists them on
// request. It belongs to the network namespace in which it was opened and never blocks.
class Socket {
 public:
  enum class Received {
    DATAGRAM,
    NOTHING,
    // The kernel had more to tell than the socket could hold, or the socket failed: what was received no longer adds
    // up.
    LOSS
  };

  Socket() = default;
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket() { close(); }

  // Subscribes; an open socket is closed first, with all that waits in it.
  [[nodiscard]] XCode open();
  void close();
  int descriptor() const;

  // The answers to the requests carry their sequence number and end with END or FAILURE.
  [[nodiscard]] XCode requestLinks(std::uint32_t sequence);
  [[nodiscard]] XCode requestAddresses(std::uint32_t sequence);
  // The messages of the next datagram. What others than the kernel send is thrown away.
  Received receive(KXVector<Message>& messages);

 private:
  XCode request(std::uint16_t type, std::uint8_t family, std::uint32_t sequence);

  mnl_socket* socket_ = nullptr;
};

}  // namespace DB::Netlink
