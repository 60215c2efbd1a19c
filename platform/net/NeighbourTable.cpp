// SPDX-License-Identifier: Apache-2.0
#include "platform/net/NeighbourTable.h"

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstring>

#include "platform/net/NeighbourMessages.h"

namespace {

struct Buffer {
  alignas(nlmsghdr) char bytes[32768];
};

// One message of the report. A table comes in several, and the one with the limits names no device.
struct TableMessage {
  NeighbourTable::Usage usage{};
  bool isArpTable = false;
  bool hasLimit = false;
};

int readTableAttribute(const nlattr* attribute, void* data) {
  TableMessage& message = *static_cast<TableMessage*>(data);
  switch (mnl_attr_get_type(attribute)) {
    case NDTA_NAME:
      message.isArpTable = std::strcmp(mnl_attr_get_str(attribute), "arp_cache") == 0;
      break;
    case NDTA_THRESH3:
      message.hasLimit = true;
      message.usage.limit = mnl_attr_get_u32(attribute);
      break;
    case NDTA_CONFIG:
      message.usage.entries = static_cast<const ndt_config*>(mnl_attr_get_payload(attribute))->ndtc_entries;
      break;
    default:
      break;
  }
  return MNL_CB_OK;
}

int readTable(const nlmsghdr* header, void* data) {
  TableMessage message;
  mnl_attr_parse(header, sizeof(ndtmsg), readTableAttribute, &message);
  if (message.isArpTable && message.hasLimit) *static_cast<std::optional<NeighbourTable::Usage>*>(data) = message.usage;
  return MNL_CB_OK;
}

int readNeighbour(const nlmsghdr* message, void* data) {
  static_cast<std::vector<Neighbour>*>(data)->push_back(readNeighbourMessage(message));
  return MNL_CB_OK;
}

template <class Body>
Body* request(Buffer& buffer, std::uint16_t type, unsigned flags, unsigned sequence) {
  nlmsghdr* const header = mnl_nlmsg_put_header(buffer.bytes);
  header->nlmsg_type = type;
  header->nlmsg_flags = static_cast<std::uint16_t>(NLM_F_REQUEST | flags);
  header->nlmsg_seq = sequence;
  return static_cast<Body*>(mnl_nlmsg_put_extra_header(header, sizeof(Body)));
}

// Sends what the buffer holds and hands the answers to the callback. False with errno for a refusal.
bool exchange(mnl_socket* socket, Buffer& buffer, mnl_cb_t callback, void* data) {
  const auto* const header = reinterpret_cast<const nlmsghdr*>(buffer.bytes);
  const unsigned sequence = header->nlmsg_seq;
  if (mnl_socket_sendto(socket, header, header->nlmsg_len) < 0) return false;
  int state = MNL_CB_OK;
  while (state > MNL_CB_STOP) {
    const ssize_t length = mnl_socket_recvfrom(socket, buffer.bytes, sizeof(buffer.bytes));
    if (length < 0 && errno == EINTR) continue;
    if (length < 0) return false;
    // The late answer to a question that was given up.
    if (reinterpret_cast<const nlmsghdr*>(buffer.bytes)->nlmsg_seq != sequence) continue;
    state = mnl_cb_run(buffer.bytes, static_cast<std::size_t>(length), sequence, mnl_socket_get_portid(socket),
                       callback, data);
  }
  return state == MNL_CB_STOP;
}

}  // namespace

String toString(const MacAddress& address) {
  return String::format("%02X:%02X:%02X:%02X:%02X:%02X", address[0], address[1], address[2], address[3], address[4],
                        address[5]);
}

NeighbourTable::NeighbourTable() {
  socket_ = mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC);
  if (socket_ == nullptr) return;
  const int descriptor = mnl_socket_get_fd(socket_);
  const timeval patience{1, 0};
  if (setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience)) != 0 ||
      mnl_socket_bind(socket_, 0, MNL_SOCKET_AUTOPID) != 0) {
    mnl_socket_close(socket_);
    socket_ = nullptr;
  }
}

NeighbourTable::~NeighbourTable() {
  if (socket_ != nullptr) mnl_socket_close(socket_);
}

std::optional<NeighbourTable::Usage> NeighbourTable::usage() {
  std::optional<Usage> usage;
  if (socket_ == nullptr) return usage;
  Buffer buffer;
  request<ndtmsg>(buffer, RTM_GETNEIGHTBL, NLM_F_DUMP, ++sequence_)->ndtm_family = AF_INET;
  static_cast<void>(exchange(socket_, buffer, readTable, &usage));
  return usage;
}

std::vector<Neighbour> NeighbourTable::neighbours() {
  std::vector<Neighbour> neighbours;
  if (socket_ == nullptr) return neighbours;
  Buffer buffer;
  request<ndmsg>(buffer, RTM_GETNEIGH, NLM_F_DUMP, ++sequence_)->ndm_family = AF_INET;
  static_cast<void>(exchange(socket_, buffer, readNeighbour, &neighbours));
  return neighbours;
}

bool NeighbourTable::remove(const Neighbour& neighbour) {
  if (socket_ == nullptr) return false;
  Buffer buffer;
  auto* const header = request<ndmsg>(buffer, RTM_DELNEIGH, NLM_F_ACK, ++sequence_);
  header->ndm_family = AF_INET;
  header->ndm_ifindex = neighbour.interface;
  mnl_attr_put_u32(reinterpret_cast<nlmsghdr*>(buffer.bytes), NDA_DST, htonl(neighbour.address));
  return exchange(socket_, buffer, nullptr, nullptr) || (errno != EPERM && errno != EACCES && errno != EAGAIN);
}
