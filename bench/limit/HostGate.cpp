// SPDX-License-Identifier: Apache-2.0
#include "bench/limit/HostGate.h"

#include <ifaddrs.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "bench/limit/LocalAddress.h"

namespace Limit {

namespace {

// A connection that ends brings the neighbour back, by the last packets of both sides.
constexpr Clock::duration REST = std::chrono::milliseconds(50);
constexpr std::size_t BATCH = 64;
constexpr std::size_t MESSAGE = sizeof(nlmsghdr) + sizeof(ndmsg) + sizeof(nlattr) + sizeof(in_addr);

unsigned interfaceOf(in_addr local) {
  ifaddrs* all = nullptr;
  unsigned result = 0;
  if (getifaddrs(&all) != 0) return 0;
  for (const ifaddrs* item = all; item != nullptr; item = item->ifa_next) {
    if (item->ifa_addr == nullptr || item->ifa_addr->sa_family != AF_INET) continue;
    if (reinterpret_cast<const sockaddr_in*>(item->ifa_addr)->sin_addr.s_addr != local.s_addr) continue;
    result = if_nametoindex(item->ifa_name);
  }
  freeifaddrs(all);
  return result;
}

}  // namespace

HostGate::HostGate(const std::vector<Host>& hosts, std::size_t limit)
    : hosts_(hosts), admitted_(std::min(limit, hosts.size())) {
  if (admitted_ == hosts.size()) return;
  interface_ = interfaceOf(localAddressFor(hosts.front().address));
  socket_ = mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC);
  if (socket_ == nullptr || mnl_socket_bind(socket_, 0, MNL_SOCKET_AUTOPID) < 0) throw std::runtime_error("no netlink");
}

HostGate::~HostGate() {
  if (socket_ != nullptr) mnl_socket_close(socket_);
}

void HostGate::settle(std::uint32_t host, Clock::time_point now) {
  if (--hosts_[host].services == 0 && socket_ != nullptr) ended_.push_back({now + REST, hosts_[host].address});
}

void HostGate::drop(Clock::time_point now) {
  std::array<char, BATCH * MESSAGE> bytes{};
  while (!ended_.empty() && ended_.front().at <= now) {
    std::size_t count = 0;
    for (; count < BATCH && !ended_.empty() && ended_.front().at <= now; ++count, ended_.pop_front()) {
      writeDeletion(bytes.data() + count * MESSAGE, ended_.front().address);
    }
    if (mnl_socket_sendto(socket_, bytes.data(), count * MESSAGE) < 0)
      throw std::runtime_error("cannot drop neighbours");
    admitted_ += count;
  }
}

void HostGate::writeDeletion(char* bytes, in_addr address) const {
  nlmsghdr* const header = mnl_nlmsg_put_header(bytes);
  header->nlmsg_type = RTM_DELNEIGH;
  header->nlmsg_flags = NLM_F_REQUEST;
  auto* const neighbour = static_cast<ndmsg*>(mnl_nlmsg_put_extra_header(header, sizeof(ndmsg)));
  neighbour->ndm_family = AF_INET;
  neighbour->ndm_ifindex = static_cast<int>(interface_);
  mnl_attr_put(header, NDA_DST, sizeof(address), &address);
}

Clock::time_point HostGate::nextTime() const { return ended_.empty() ? Clock::time_point::max() : ended_.front().at; }

}  // namespace Limit
