// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/base/KXVector.h"
#include "platform/base/String.h"

// What the kernel says about its interfaces and their IPv4 addresses, read from the bytes of a netlink socket.
namespace DB::Netlink {

// An IPv4 address of an interface, in host byte order. The peer is the other end of a point-to-point link, and the
// address itself on all others.
struct Address {
  std::uint32_t local = 0;
  std::uint32_t peer = 0;
  std::uint8_t prefix = 0;
  auto operator<=>(const Address&) const = default;
};

struct Message {
  enum class Kind {
    LINK,          // an interface is there: index, flags and name as they are now
    LINK_GONE,     // index
    ADDRESS,       // an interface has an address: index, address
    ADDRESS_GONE,  // index, address
    INTERRUPTED,   // what is being listed has changed meanwhile, so the list may miss something
    END,           // of the list that was asked for
    FAILURE        // of the request: error is an errno
  };
  Kind kind = Kind::END;
  std::uint32_t sequence = 0;  // of the request that this answers; 0 in notifications
  int index = 0;
  unsigned flags = 0;  // IFF_UP and the like
  String name{};
  Address address{};
  int error = 0;
};

// The messages of one datagram, in their order. Its bytes are aligned as a netlink header is. Messages of other kinds
// and families are left out; so is what is malformed, and all that follows a message whose length is.
KXVector<Message> parse(std::span<const std::byte> datagram);

}  // namespace DB::Netlink
