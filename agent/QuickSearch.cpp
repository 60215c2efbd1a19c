// SPDX-License-Identifier: Apache-2.0
#include "agent/QuickSearch.h"

#include <algorithm>
#include <bit>
#include <chrono>

#include "discovery/nodescan/DeviceModel.h"

using KX::NMS::Discovery::modelOfDevice;
using KX::NMS::Discovery::Node;
using KX::NMS::Discovery::Repository;
using KX::NMS::Discovery::Scan;
using KX::NMS::Discovery::State;
using KX::Property::Value;

namespace {

// What a sweep takes at least where addresses are silent, and how many of those are done in a second.
constexpr std::size_t SWEEP_SECONDS = 2;
constexpr std::size_t ADDRESSES_A_SECOND = 500;

std::int64_t steadyMilliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

String list(const std::vector<String>& names) {
  String text;
  for (const String& name : names) text.concatf("%s%s", text.isEmpty() ? "" : ", ", name.c_str());
  return text;
}

}  // namespace

QuickSearch::QuickSearch(KXEventLoop& loop, Repository& repository, const std::vector<InterfaceChoice>& interfaces,
                         std::size_t maxAddresses)
    : loop_(loop), repository_(repository) {
  for (const InterfaceChoice& interface : interfaces) add(interface, maxAddresses);
}

void QuickSearch::add(const InterfaceChoice& interface, std::size_t maxAddresses) {
  bool isConnected = false;
  for (const HostSweep::Network& network : HostSweep::connectedNetworks()) {
    if (!(network.device == interface.device)) continue;
    isConnected = true;
    addNetwork(interface, network, maxAddresses);
  }
  if (!isConnected) unswept_.add("ARP sweep"_s, interface.name, "no IPv4 network"_s);
  scans_.push_back(
      KXLWPtr<Scan>(new Scan(loop_, "scan"_s, "Discovery"_s, interface.name,
                             KX::Shell::Command::format("discovery-client -j -i %s", {interface.device}), parser_)));
}

// Of a network that is too large, the part around this machine is swept.
void QuickSearch::addNetwork(const InterfaceChoice& interface, const HostSweep::Network& network,
                             std::size_t maxAddresses) {
  if (!network.hasArp) return unswept_.add("ARP sweep"_s, interface.name, "no ARP on this link"_s);
  HostSweep::Network part = network;
  if (network.size() > maxAddresses) {
    const auto size = static_cast<std::uint32_t>(std::bit_floor(maxAddresses));
    part.first = network.own & ~(size - 1);
    part.last = part.first + (size - 1);
    unswept_.add("ARP sweep"_s, interface.name,
                 String::format("of %s only %s was swept (--max-addresses sets how many)", network.toString().c_str(),
                                part.toString().c_str()));
  }
  sweeps_.push_back(std::make_unique<NetworkSweep>(interface.name, network));
  sweeps_.back()->addresses = HostSweep::hostAddresses(network, part.first, part.last, maxAddresses);
}

void QuickSearch::start() {
  for (const KXLWPtr<Scan>& scan : scans_) scan->invoke();
  startSweeps();
}

// The next one, or all of them when they fit.
void QuickSearch::startSweeps() {
  std::size_t left = 0;
  for (const auto& one : sweeps_) {
    if (one->sweep != nullptr && !one->hasEnded) return;
    if (!one->hasEnded) left += one->addresses.size();
  }
  const bool doFit = left <= neighbours_.room();
  for (const auto& one : sweeps_) {
    if (one->hasEnded) continue;
    startSweep(*one);
    if (!doFit && !one->hasEnded) return;
  }
}

void QuickSearch::startSweep(NetworkSweep& one) {
  one.trouble = one.lan.open();
  if (one.trouble.isErr()) {
    one.hasEnded = true;
    return;
  }
  one.sweep = std::make_unique<HostSweep::Sweep>(
      loop_, steadyMilliseconds, HostSweep::SweepOptions(), neighbours_, one.lan, one.addresses,
      HostSweep::Sweep::Events{
          [this, &one](std::uint32_t address, const MacAddress& macAddress) { enterHost(one, address, macAddress); },
          [&one] { one.hasEnded = true; }});
  one.sweep->start();
}

void QuickSearch::enterHost(NetworkSweep& one, std::uint32_t address, const MacAddress& macAddress) {
  ++one.found;
  const String ipAddress = HostSweep::dottedQuad(address);
  const KXLWPtr<Node> known = repository_.getNodeByIpAddress(ipAddress);
  // A device may have spoken for itself before.
  const bool isDevice = known != nullptr && known->physicalAddress() == toString(macAddress);
  if (isDevice) return;
  static_cast<void>(repository_.addDiscoveredNode(toString(macAddress), ipAddress, one.interface, String(), false,
                                                  Repository::UpdateExisting, nullptr, nullptr));
}

void QuickSearch::cancel() {
  for (const auto& one : sweeps_) {
    one->sweep.reset();
    one->hasEnded = true;
  }
  for (const KXLWPtr<Scan>& scan : scans_) scan->cancel();
}

void QuickSearch::poll() {
  startSweeps();
  for (; scansEntered_ < scans_.size() && scans_[scansEntered_]->status().isFinished(); ++scansEntered_) {
    if (scans_[scansEntered_]->status().state() == State::SUCCESSFUL) enterDevices(*scans_[scansEntered_]);
  }
}

// What a node's services have said of its model by now stands.
void QuickSearch::enterDevices(const Scan& scan) {
  const Value found = scan.status().result()["nodes"];
  for (const Value& device : found.elements()) {
    const KXLWPtr<Node> known = repository_.getNodeByIpAddress(device["ipAddress"].toString());
    const String model = known == nullptr || known->model().isEmpty() ? modelOfDevice(device) : known->model();
    static_cast<void>(repository_.addDiscoveredNode(
        device["physicalAddress"].toString(), device["ipAddress"].toString(), scan.name(), model,
        device["supportsOnboarding"].toBoolOr(false), Repository::UpdateExisting, nullptr, nullptr));
  }
}

bool QuickSearch::isBusy() const {
  return std::any_of(sweeps_.begin(), sweeps_.end(), [](const auto& one) { return !one->hasEnded; });
}

bool QuickSearch::hasEnded() const { return !isBusy() && scansEntered_ == scans_.size(); }

ScanStage QuickSearch::stage() const {
  std::vector<String> names;
  std::size_t finished = 0;
  std::size_t total = 0;
  for (const auto& one : sweeps_) {
    if (one->hasEnded) continue;
    if (std::find(names.begin(), names.end(), one->interface) == names.end()) names.push_back(one->interface);
    total += one->addresses.size();
    if (one->sweep != nullptr) finished += one->sweep->finished();
  }
  if (!names.empty()) {
    return {1, 1, String::format("ARP on %s, %zu of %zu addresses", list(names).c_str(), finished, total),
            static_cast<unsigned>(SWEEP_SECONDS + total / ADDRESSES_A_SECOND)};
  }
  for (const KXLWPtr<Scan>& scan : scans_) {
    if (!scan->status().isFinished()) names.push_back(scan->name());
  }
  if (names.empty()) return {0, 1, String()};
  return {1, 1, String::format("Discovery on %s", list(names).c_str()), 3};
}

bool QuickSearch::judge(ScanFailures& failures) const {
  bool hasSucceeded = false;
  failures = unswept_;
  for (const auto& one : sweeps_) {
    const XCode& trouble = one->trouble.isErr() || one->found != 0 ? one->trouble : one->lan.trouble();
    if (trouble.isErr()) failures.add("ARP sweep"_s, one->interface, trouble.toString());
    hasSucceeded |= trouble.isSuccess();
  }
  for (const KXLWPtr<Scan>& scan : scans_) hasSucceeded |= failures.addScan(scan->toPropertyValue());
  return hasSucceeded;
}
