// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/TargetArguments.h"

#include "platform/net/IpAddress.h"
#include "tools/servicescan/ServiceWord.h"

namespace ServiceScan {
namespace {

// A larger list is one to write into a file, on purpose.
constexpr std::size_t MAX_HOSTS = 4096;

XCode refuse(const String& word, const char* reason) {
  return XCode::error(String::format("unusable target: \"%s\", %s", word.c_str(), reason));
}

XCode readProbe(const String& word, std::vector<Probe>& probes) {
  probes.push_back(readService(word));
  return probes.back().reason.isEmpty() ? XCode() : refuse(word, "expecting a port of 1 to 65535");
}

// The prefixes of 31 and 32 bits have no addresses but those of hosts.
XCode readHosts(const String& word, std::vector<std::uint32_t>& addresses) {
  IpAddress subnet;
  if (subnet.setIpAddrAsString(word).isErr() && subnet.setSubnetAsString(word).isErr()) {
    return refuse(word, "expecting an IPv4 address, a prefix such as 192.0.2.0/24, or ping, http, https, snmp or sip");
  }
  std::uint64_t first = subnet.getV4NetAddrAsBinaryUInt32();
  std::uint64_t last = first | ~subnet.getV4NetMaskAsBinaryUInt32();
  if (last - first > 1) {
    ++first;
    --last;
  }
  if (last - first >= MAX_HOSTS - addresses.size()) {
    return XCode::error(String::format("more than %zu hosts; expecting a file of them", MAX_HOSTS));
  }
  for (std::uint64_t address = first; address <= last; ++address) {
    addresses.push_back(static_cast<std::uint32_t>(address));
  }
  return XCode();
}

void addHost(std::uint32_t binary, const std::vector<Probe>& probes, Targets& targets) {
  IpAddress address;
  address.setV4AddrAsBinaryUInt32(binary);
  const std::size_t first = targets.probes.size();
  for (Probe probe : probes) {
    probe.host = static_cast<std::uint32_t>(targets.hosts.size());
    targets.probes.push_back(std::move(probe));
  }
  targets.hosts.push_back({address.toString(), String(), binary, static_cast<ProbeIndex>(first),
                           static_cast<ProbeIndex>(targets.probes.size())});
}

}  // namespace

XCode readTargets(const std::vector<String>& words, Targets& targets) {
  std::vector<std::uint32_t> addresses;
  std::vector<Probe> probes;
  for (const String& word : words) {
    XCode result = isService(word) ? readProbe(word, probes) : readHosts(word, addresses);
    if (result.isErr()) return result;
  }
  if (addresses.empty()) return XCode::error("expecting an address or a prefix, too"_s);
  if (probes.empty()) probes = usualServices();
  for (const std::uint32_t address : addresses) addHost(address, probes, targets);
  return XCode();
}

}  // namespace ServiceScan
