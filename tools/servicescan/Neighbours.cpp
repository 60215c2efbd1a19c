// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/Neighbours.h"

#include <arpa/inet.h>
#include <libmnl/libmnl.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace ServiceScan {

struct Neighbours::Entry {
  std::uint32_t address;  // in host byte order
  int interface;
};

namespace {

constexpr std::size_t DEFAULT_LIMIT = 1024;
// However full the table is: the kernel makes room itself, if more slowly.
constexpr std::size_t LEAST_ROOM = 128;

struct Buffer {
  alignas(nlmsghdr) char bytes[32768];
};

struct Table {
  std::size_t limit = DEFAULT_LIMIT;
  std::size_t entries = 0;
};

// One message of the report. A table comes in several, and the one with the limits names no device.
struct TableMessage {
  Table table;
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
      message.table.limit = mnl_attr_get_u32(attribute);
      break;
    case NDTA_CONFIG:
      message.table.entries = static_cast<const ndt_config*>(mnl_attr_get_payload(attribute))->ndtc_entries;
      break;
    default:
      break;
  }
  return MNL_CB_OK;
}

int readTable(const nlmsghdr* header, void* data) {
  TableMessage message;
  mnl_attr_parse(header, sizeof(ndtmsg), readTableAttribute, &message);
  if (message.isArpTable && message.hasLimit) *static_cast<Table*>(data) = message.table;
  return MNL_CB_OK;
}

int readAddress(const nlattr* attribute, void* address) {
  if (mnl_attr_get_type(attribute) == NDA_DST && mnl_attr_get_payload_len(attribute) == sizeof(std::uint32_t)) {
    *static_cast<std::uint32_t*>(address) = ntohl(mnl_attr_get_u32(attribute));
  }
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
    state = mnl_cb_run(buffer.bytes, static_cast<std::size_t>(length), sequence, mnl_socket_get_portid(socket),
                       callback, data);
  }
  return state == MNL_CB_STOP;
}

}  // namespace

Neighbours::Neighbours() : room_(DEFAULT_LIMIT) {
  socket_ = mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC);
  if (socket_ != nullptr && mnl_socket_bind(socket_, 0, MNL_SOCKET_AUTOPID) != 0) {
    mnl_socket_close(socket_);
    socket_ = nullptr;
  }
  Neighbours::measure();
}

Neighbours::~Neighbours() {
  if (socket_ != nullptr) mnl_socket_close(socket_);
}

void Neighbours::measure() {
  Table table;
  Buffer buffer;
  if (socket_ != nullptr) {
    request<ndtmsg>(buffer, RTM_GETNEIGHTBL, NLM_F_DUMP, ++sequence_)->ndtm_family = AF_INET;
    static_cast<void>(exchange(socket_, buffer, readTable, &table));
  }
  const std::size_t reserve = table.limit / 4;
  room_ = std::max(LEAST_ROOM, table.limit - reserve - std::min(table.entries, table.limit - reserve));
}

std::vector<Neighbours::Entry> Neighbours::readEntries() {
  std::vector<Entry> entries;
  Buffer buffer;
  request<ndmsg>(buffer, RTM_GETNEIGH, NLM_F_DUMP, ++sequence_)->ndm_family = AF_INET;
  const auto readEntry = [](const nlmsghdr* message, void* data) {
    const auto* const neighbour = static_cast<const ndmsg*>(mnl_nlmsg_get_payload(message));
    if ((neighbour->ndm_state & (NUD_PERMANENT | NUD_NOARP)) != 0) return MNL_CB_OK;
    Entry entry{0, neighbour->ndm_ifindex};
    mnl_attr_parse(message, sizeof(ndmsg), readAddress, &entry.address);
    static_cast<std::vector<Entry>*>(data)->push_back(entry);
    return MNL_CB_OK;
  };
  static_cast<void>(exchange(socket_, buffer, readEntry, &entries));
  return entries;
}

bool Neighbours::isDropped(const Entry& entry) {
  Buffer buffer;
  auto* const neighbour = request<ndmsg>(buffer, RTM_DELNEIGH, NLM_F_ACK, ++sequence_);
  neighbour->ndm_family = AF_INET;
  neighbour->ndm_ifindex = entry.interface;
  mnl_attr_put_u32(reinterpret_cast<nlmsghdr*>(buffer.bytes), NDA_DST, htonl(entry.address));
  // One that has gone meanwhile is what was wanted.
  return exchange(socket_, buffer, nullptr, nullptr) || (errno != EPERM && errno != EACCES);
}

bool Neighbours::drop(const std::vector<std::uint32_t>& addresses) {
  if (socket_ == nullptr || !isAllowed_) return false;
  std::vector<std::uint32_t> sorted = addresses;
  std::sort(sorted.begin(), sorted.end());
  for (const Entry& entry : readEntries()) {
    if (!std::binary_search(sorted.begin(), sorted.end(), entry.address)) continue;
    isAllowed_ = isDropped(entry);
    if (!isAllowed_) return false;
  }
  return true;
}

}  // namespace ServiceScan
