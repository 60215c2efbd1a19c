// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/SweepCommand.h"

#include <chrono>
#include <cinttypes>
#include <map>

#include "platform/loop/UvEventLoop.h"
#include "platform/property/Value.h"
#include "sweep/KernelLan.h"
#include "sweep/Sweep.h"

namespace ServiceScan {
namespace {

using KX::Property::Value;
using Hosts = std::map<std::uint32_t, MacAddress>;

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

std::int64_t steadyMilliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

XCode findNetwork(const Range& range, HostSweep::Network& network) {
  for (const HostSweep::Network& one : HostSweep::connectedNetworks()) {
    if (one.first > range.first || one.last < range.last || !one.hasArp) continue;
    network = one;
    return XCode();
  }
  return XCode::error("no interface is connected to this network"_s);
}

XCode sweep(const HostSweep::Network& network, const Range& range, const Options& options, Hosts& hosts) {
  KX::UvEventLoop loop;
  XCode result = loop.status();
  if (result.isErr()) return result;
  HostSweep::KernelLan lan(network);
  result = lan.open();
  if (result.isErr()) return result;
  HostSweep::SweepOptions pace;
  if (options.sweep.packetsPerSecond != 0) pace.packetsPerSecond = options.sweep.packetsPerSecond;
  HostSweep::Neighbours neighbours;
  HostSweep::Sweep sweep(
      loop, steadyMilliseconds, pace, neighbours, lan,
      HostSweep::hostAddresses(network, range.first, range.last, options.maxAddresses),
      {[&hosts](std::uint32_t address, const MacAddress& macAddress) { hosts.emplace(address, macAddress); },
       [&loop] { loop.stop(); }});
  sweep.start();
  loop.run();
  return hosts.empty() ? lan.trouble() : XCode();
}

void printJson(const Hosts& hosts, std::FILE* stream) {
  Value nodes = Value::array(hosts.size());
  for (const auto& [address, macAddress] : hosts) {
    Value node = Value::object(2);
    node["ipAddress"_s] = HostSweep::dottedQuad(address);
    node["physicalAddress"_s] = toString(macAddress);
    nodes.add(node);
  }
  Value document = Value::object(1);
  document["nodes"_s] = nodes;
  std::fprintf(stream, "%s\n", document.toJson().c_str());
}

void printTable(const Hosts& hosts, const TableStyle& style, std::FILE* stream) {
  std::vector<std::vector<Cell>> rows;
  for (const auto& [address, macAddress] : hosts)
    rows.push_back({{HostSweep::dottedQuad(address)}, {toString(macAddress)}});
  for (const String& line : layOutTable({{"ADDRESS"}, {"MAC"}}, rows, style))
    std::fprintf(stream, "%s\n", line.c_str());
}

}  // namespace

XCode sweepAndPrint(const Options& options, const TableStyle& style, std::FILE* stream) {
  const std::uint32_t mask = options.sweepNetwork.getV4NetMaskAsBinaryUInt32();
  const std::uint32_t first = options.sweepNetwork.getV4NetAddrAsBinaryUInt32();
  const Range range{first, first | ~mask};
  HostSweep::Network network;
  XCode result = findNetwork(range, network);
  if (result.isErr()) return result;
  const std::uint64_t size = std::uint64_t{range.last} - range.first + 1;
  if (size > options.maxAddresses) {
    return XCode::error(
        String::format("%" PRIu64 " addresses are more than %u (--max-addresses)", size, options.maxAddresses));
  }
  Hosts hosts;
  result = sweep(network, range, options, hosts);
  if (result.isErr()) return result;
  options.json ? printJson(hosts, stream) : printTable(hosts, style, stream);
  return XCode();
}

}  // namespace ServiceScan
