// SPDX-License-Identifier: Apache-2.0
#include "platform/database/NetlinkSocket.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>

namespace DB::Netlink {

namespace {

// The kernel fills a datagram of a list up to this size where the receiver has room for it.
constexpr std::size_t MAX_DATAGRAM = 32768;

}  // namespace

XCode Socket::open() {
  close();
  socket_ = mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (socket_ == nullptr) return XCode::fromErrno(errno);
  if (mnl_socket_bind(socket_, RTMGRP_LINK | RTMGRP_IPV4_IFADDR, MNL_SOCKET_AUTOPID) == 0) return XCode();
  const XCode result = XCode::fromErrno(errno);
  close();
  return result;
}

void Socket::close() {
  if (socket_ != nullptr) mnl_socket_close(socket_);
  socket_ = nullptr;
}

int Socket::descriptor() const { return mnl_socket_get_fd(socket_); }

XCode Socket::requestLinks(std::uint32_t sequence) { return request(RTM_GETLINK, AF_UNSPEC, sequence); }

XCode Socket::requestAddresses(std::uint32_t sequence) { return request(RTM_GETADDR, AF_INET, sequence); }

XCode Socket::request(std::uint16_t type, std::uint8_t family, std::uint32_t sequence) {
  alignas(nlmsghdr) char buffer[NLMSG_SPACE(sizeof(ifinfomsg))];
  nlmsghdr* header = mnl_nlmsg_put_header(buffer);
  header->nlmsg_type = type;
  header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  header->nlmsg_seq = sequence;
  // Of the fixed part, whose first byte is the family in both requests, the kernel reads no more than that.
  *static_cast<std::uint8_t*>(mnl_nlmsg_put_extra_header(header, sizeof(ifinfomsg))) = family;
  return mnl_socket_sendto(socket_, header, header->nlmsg_len) < 0 ? XCode::fromErrno(errno) : XCode();
}

Socket::Received Socket::receive(KXVector<Message>& messages) {
  alignas(nlmsghdr) std::byte buffer[MAX_DATAGRAM];
  messages.clear();
  for (;;) {
    sockaddr_nl sender{};
    socklen_t senderLength = sizeof(sender);
    // With MSG_TRUNC the length is that of the datagram, even where it is longer than the buffer.
    const ssize_t length = recvfrom(descriptor(), buffer, sizeof(buffer), MSG_DONTWAIT | MSG_TRUNC,
                                    reinterpret_cast<sockaddr*>(&sender), &senderLength);
    if (length < 0 && errno == EINTR) continue;
    if (length < 0 && errno == EAGAIN) return Received::NOTHING;
    if (length < 0 || static_cast<std::size_t>(length) > sizeof(buffer)) return Received::LOSS;
    if (senderLength != sizeof(sender) || sender.nl_pid != 0) continue;
    messages = parse({buffer, static_cast<std::size_t>(length)});
    return Received::DATAGRAM;
  }
}

}  // namespace DB::Netlink
