// SPDX-License-Identifier: Apache-2.0
#include "platform/database/NetlinkMessages.h"

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

namespace DB::Netlink {

namespace {

using Kind = Message::Kind;

constexpr int MAX_ERRNO = 4096;

std::size_t alignedLength(const nlmsghdr& header) { return (std::size_t{header.nlmsg_len} + 3) / 4 * 4; }

// The message that the datagram begins with, or null where it does not hold a whole one: attributes are read up to the
// aligned end of their message, so that must lie within it too. The library's own check takes lengths above 2 GiB for
// negative ones and lets them pass.
const nlmsghdr* firstMessage(std::span<const std::byte> datagram) {
  if (datagram.size() < sizeof(nlmsghdr)) return nullptr;
  const auto* header = reinterpret_cast<const nlmsghdr*>(datagram.data());
  const std::size_t length = header->nlmsg_len;
  if (length < sizeof(nlmsghdr) || length > datagram.size()) return nullptr;
  return alignedLength(*header) <= datagram.size() ? header : nullptr;
}

// The fixed part of a message's payload, or null where the message is too short for it.
template <class T>
const T* payload(const nlmsghdr& header) {
  if (mnl_nlmsg_get_payload_len(&header) < sizeof(T)) return nullptr;
  return static_cast<const T*>(mnl_nlmsg_get_payload(&header));
}

// Calls the handler with each attribute behind the fixed part T; false where the handler is, or the list is malformed.
template <class T, class Handler>
bool forEachAttribute(const nlmsghdr& header, Handler handler) {
  const auto* attribute = static_cast<const nlattr*>(mnl_nlmsg_get_payload_offset(&header, sizeof(T)));
  const auto* tail = static_cast<const char*>(mnl_nlmsg_get_payload_tail(&header));
  const auto left = [&] { return static_cast<int>(tail - reinterpret_cast<const char*>(attribute)); };
  while (mnl_attr_ok(attribute, left())) {
    if (!handler(*attribute)) return false;
    attribute = mnl_attr_next(attribute);
  }
  return left() <= 0;
}

// A device's name: text of 1 to 15 bytes and a NUL.
bool readName(const nlattr& attribute, String& name) {
  if (mnl_attr_validate(&attribute, MNL_TYPE_NUL_STRING) < 0) return false;
  const char* text = mnl_attr_get_str(&attribute);
  const std::size_t length = std::strlen(text);
  if (length == 0 || length >= IFNAMSIZ) return false;
  name = String(text, length);
  return true;
}

bool readAddress(const nlattr& attribute, std::optional<std::uint32_t>& address) {
  if (mnl_attr_validate(&attribute, MNL_TYPE_U32) < 0) return false;
  address = ntohl(mnl_attr_get_u32(&attribute));
  return true;
}

bool readLink(const nlmsghdr& header, Message& message) {
  const auto* link = payload<ifinfomsg>(header);
  // Bridges speak of their ports under a family of their own: the end of a port is not the end of its interface.
  if (link == nullptr || link->ifi_family != AF_UNSPEC || link->ifi_index <= 0) return false;
  message.index = link->ifi_index;
  message.flags = link->ifi_flags;
  const bool isWellFormed = forEachAttribute<ifinfomsg>(header, [&](const nlattr& attribute) {
    return mnl_attr_get_type(&attribute) != IFLA_IFNAME || readName(attribute, message.name);
  });
  return isWellFormed && (message.kind == Kind::LINK_GONE || !message.name.isEmpty());
}

bool readAddressMessage(const nlmsghdr& header, Message& message) {
  const auto* fixed = payload<ifaddrmsg>(header);
  if (fixed == nullptr || fixed->ifa_family != AF_INET || fixed->ifa_prefixlen > 32) return false;
  if (fixed->ifa_index == 0 || !std::in_range<int>(fixed->ifa_index)) return false;
  std::optional<std::uint32_t> local;
  std::optional<std::uint32_t> peer;
  const bool isWellFormed = forEachAttribute<ifaddrmsg>(header, [&](const nlattr& attribute) {
    const std::uint16_t type = mnl_attr_get_type(&attribute);
    if (type == IFA_LOCAL) return readAddress(attribute, local);
    return type != IFA_ADDRESS || readAddress(attribute, peer);
  });
  if (!isWellFormed || (!local && !peer)) return false;
  message.index = static_cast<int>(fixed->ifa_index);
  message.address = {local ? *local : *peer, peer ? *peer : *local, fixed->ifa_prefixlen};
  return true;
}

// An error of 0 only acknowledges a request; the end of a list may carry an error too.
bool readEnd(const nlmsghdr& header, Message& message) {
  const int* error = payload<int>(header);
  if (error != nullptr && *error < 0) {
    message.kind = Kind::FAILURE;
    message.error = *error > -MAX_ERRNO ? -*error : EIO;
    return true;
  }
  return message.kind == Kind::END;
}

bool read(const nlmsghdr& header, Message& message) {
  switch (header.nlmsg_type) {
    case RTM_NEWLINK:
      message.kind = Kind::LINK;
      return readLink(header, message);
    case RTM_DELLINK:
      message.kind = Kind::LINK_GONE;
      return readLink(header, message);
    case RTM_NEWADDR:
      message.kind = Kind::ADDRESS;
      return readAddressMessage(header, message);
    case RTM_DELADDR:
      message.kind = Kind::ADDRESS_GONE;
      return readAddressMessage(header, message);
    case NLMSG_DONE:
      message.kind = Kind::END;
      return readEnd(header, message);
    case NLMSG_ERROR:
      message.kind = Kind::FAILURE;
      return readEnd(header, message);
    default:
      return false;
  }
}

}  // namespace

KXVector<Message> parse(std::span<const std::byte> datagram) {
  KXVector<Message> messages;
  while (const nlmsghdr* header = firstMessage(datagram)) {
    if ((header->nlmsg_flags & NLM_F_DUMP_INTR) != 0) {
      messages.add({.kind = Kind::INTERRUPTED, .sequence = header->nlmsg_seq});
    }
    Message message{.kind = Kind::END, .sequence = header->nlmsg_seq};
    if (read(*header, message)) messages.add(std::move(message));
    datagram = datagram.subspan(alignedLength(*header));
  }
  return messages;
}

}  // namespace DB::Netlink
