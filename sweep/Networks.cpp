// SPDX-License-Identifier: Apache-2.0
#include "sweep/Networks.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <algorithm>
#include <memory>
#include <set>

namespace HostSweep {
namespace {

using Addresses = std::unique_ptr<ifaddrs, decltype(&freeifaddrs)>;

Addresses readAddresses() {
  ifaddrs* list = nullptr;
  if (getifaddrs(&list) != 0) list = nullptr;
  return {list, &freeifaddrs};
}

bool isIpv4(const ifaddrs& entry) {
  return entry.ifa_addr != nullptr && entry.ifa_addr->sa_family == AF_INET && entry.ifa_netmask != nullptr;
}

std::uint32_t addressIn(const sockaddr* address) {
  return ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr);
}

std::set<std::uint32_t> ownAddresses() {
  std::set<std::uint32_t> own;
  const Addresses list = readAddresses();
  for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
    if (isIpv4(*entry)) own.insert(addressIn(entry->ifa_addr));
  }
  return own;
}

// A network of two addresses or one has none for itself and its broadcast.
bool hasBroadcast(const Network& network) { return network.last - network.first > 1; }

}  // namespace

String dottedQuad(std::uint32_t address) {
  return String::format("%u.%u.%u.%u", address >> 24U, address >> 16U & 0xffU, address >> 8U & 0xffU, address & 0xffU);
}

String Network::toString() const {
  unsigned prefix = 32;
  for (std::uint32_t difference = first ^ last; difference != 0; difference >>= 1U) --prefix;
  return String::format("%s/%u", dottedQuad(first).c_str(), prefix);
}

std::uint64_t Network::size() const { return std::uint64_t{last} - first + 1 - (hasBroadcast(*this) ? 2 : 0); }

std::vector<Network> connectedNetworks() {
  std::vector<Network> networks;
  const Addresses list = readAddresses();
  for (const ifaddrs* entry = list.get(); entry != nullptr; entry = entry->ifa_next) {
    if (!isIpv4(*entry) || (entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0) continue;
    const std::uint32_t mask = addressIn(entry->ifa_netmask);
    Network network;
    network.device = entry->ifa_name;
    network.interface = static_cast<int>(if_nametoindex(entry->ifa_name));
    network.own = addressIn(entry->ifa_addr);
    network.first = network.own & mask;
    network.last = network.first | ~mask;
    network.hasArp = (entry->ifa_flags & (IFF_NOARP | IFF_POINTOPOINT)) == 0;
    const bool isKnown = std::any_of(networks.begin(), networks.end(), [&](const Network& other) {
      return other.interface == network.interface && other.first == network.first && other.last == network.last;
    });
    if (!isKnown) networks.push_back(network);
  }
  return networks;
}

std::vector<std::uint32_t> hostAddresses(const Network& network, std::uint32_t first, std::uint32_t last,
                                         std::size_t limit) {
  const std::set<std::uint32_t> own = ownAddresses();
  const std::uint32_t edge = hasBroadcast(network) ? 1 : 0;
  const std::uint64_t end = std::min(last, network.last - edge);
  std::vector<std::uint32_t> addresses;
  for (std::uint64_t next = std::max(first, network.first + edge); next <= end && addresses.size() < limit; ++next) {
    const auto address = static_cast<std::uint32_t>(next);
    if (!own.contains(address)) addresses.push_back(address);
  }
  return addresses;
}

}  // namespace HostSweep
