// SPDX-License-Identifier: Apache-2.0
#include "platform/net/NeighbourChanges.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstddef>

#include "platform/net/NeighbourMessages.h"

namespace {

// A notification is a fraction of this.
constexpr std::size_t MAX_DATAGRAM = 8192;
// Room for the answers of a whole LAN at once, where the system's limit allows it.
constexpr int RECEIVE_BUFFER_BYTES = 4 << 20;

int readChange(const nlmsghdr* message, void* data) {
  const bool isShort = mnl_nlmsg_get_payload_len(message) < sizeof(ndmsg);
  if (message->nlmsg_type != RTM_NEWNEIGH || isShort) return MNL_CB_OK;
  const auto* const header = static_cast<const ndmsg*>(mnl_nlmsg_get_payload(message));
  if (header->ndm_family == AF_INET)
    static_cast<std::vector<Neighbour>*>(data)->push_back(readNeighbourMessage(message));
  return MNL_CB_OK;
}

}  // namespace

NeighbourChanges::~NeighbourChanges() {
  if (socket_ != nullptr) mnl_socket_close(socket_);
}

XCode NeighbourChanges::open() {
  socket_ = mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (socket_ == nullptr) return XCode::fromErrno(errno);
  if (mnl_socket_bind(socket_, RTMGRP_NEIGH, MNL_SOCKET_AUTOPID) != 0) return XCode::fromErrno(errno);
  const int descriptor = mnl_socket_get_fd(socket_);
  if (setsockopt(descriptor, SOL_SOCKET, SO_RCVBUFFORCE, &RECEIVE_BUFFER_BYTES, sizeof(int)) != 0) {
    static_cast<void>(setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &RECEIVE_BUFFER_BYTES, sizeof(int)));
  }
  return XCode();
}

int NeighbourChanges::descriptor() const { return mnl_socket_get_fd(socket_); }

bool NeighbourChanges::receive(std::vector<Neighbour>& changed) {
  alignas(nlmsghdr) std::byte buffer[MAX_DATAGRAM];
  for (;;) {
    sockaddr_nl sender{};
    socklen_t senderLength = sizeof(sender);
    const ssize_t length = recvfrom(descriptor(), buffer, sizeof(buffer), MSG_DONTWAIT | MSG_TRUNC,
                                    reinterpret_cast<sockaddr*>(&sender), &senderLength);
    if (length < 0 && errno == EINTR) continue;
    if (length < 0 && errno == EAGAIN) return true;
    if (length < 0 || static_cast<std::size_t>(length) > sizeof(buffer)) return false;
    if (senderLength != sizeof(sender) || sender.nl_pid != 0) continue;
    static_cast<void>(mnl_cb_run(buffer, static_cast<std::size_t>(length), 0, 0, readChange, &changed));
  }
}
