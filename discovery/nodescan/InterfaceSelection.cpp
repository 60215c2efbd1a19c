// SPDX-License-Identifier: Apache-2.0
// How a node scan chooses the device's IP interfaces, with its decision log. Marks in the log: "v" and "x" stand for
// single tests, "V" and "X" for the verdict.
#include <array>
#include <utility>

#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"
#include "discovery/nodescan/JobNodeScan.h"
#include "platform/database/Queries.h"
#include "platform/database/Transaction.h"
#include "platform/net/IpAddress.h"

namespace KX::NMS::Discovery {
namespace {

constexpr DB::ObjectType_ OBJECT_TYPE = DB::ObjectType_::INSTANCE;
constexpr DB::ObjectStatus_ OBJECT_STATUS = DB::ObjectStatus_::ACTIVE;

std::uint32_t firstAddress(const IpAddress& network) { return network.getV4NetAddrAsBinaryUInt32(); }

std::uint32_t lastAddress(const IpAddress& network) {
  return ~network.getV4NetMaskAsBinaryUInt32() | network.getV4NetAddrAsBinaryUInt32();
}

const std::array<IpAddress, 3>& privateNetworks() {
  static const std::array<IpAddress, 3> NETWORKS = {IpAddress("10.0.0.0/8"_s), IpAddress("172.16.0.0/12"_s),
                                                    IpAddress("192.168.0.0/16"_s)};
  return NETWORKS;
}

}  // namespace

void JobNodeScan::readInterfaceRules() {
  const Property::Value& interfaces = std::as_const(description_)["interfaces"];
  for (const Property::Value& item : interfaces.elements()) {
    interfaceDescriptions_.add(
        {KXRegEx::COMPILE_EXPRESSION(item["regex"].toString()), item["privateNetworksOnly"].toBoolOr(true)});
  }
}

XCode JobNodeScan::determineScans() {
  DISCOVERY_TRACE(1, logPrefix_, "Determining interfaces to scan...");
  scans_.clear();
  currentScan_ = 0;
  readInterfaceRules();
  DB::Transaction transaction;
  XCode result = transaction.start();
  if (result.isSuccess()) {
    DB::Table::ContextIp::QueryAllByKey contexts(DB::Table::Cfg::QueryAllByKey::Key(OBJECT_TYPE, OBJECT_STATUS));
    for (contexts.begin(); contexts.iterate(); contexts.moveNext()) examineContext(*contexts);
    result = transaction.commit();
  }
  interfaceDescriptions_.clear();
  if (result.isErr()) DISCOVERY_TRACE(1, logPrefix_, "Preparation failed: %s", inLog(result.toString()).c_str());
  return result;
}

void JobNodeScan::examineContext(const DB::Ptr<DB::Entry::ContextIp>& context) {
  DISCOVERY_TRACE(1, logPrefix_, "- IP context %s:", inLog(context->name.get()).c_str());
  using Query = DB::Table::IpInterface::QueryByParentTypeStatusByKey;
  Query interfaces(Query::Key(context, OBJECT_TYPE, OBJECT_STATUS));
  for (interfaces.begin(); interfaces.iterate(); interfaces.moveNext()) examineInterface(*interfaces);
}

void JobNodeScan::examineInterface(const DB::Ptr<DB::Entry::IpInterface>& interface) {
  const String name = interface->name.get();
  DISCOVERY_TRACE(1, logPrefix_, "  - IP Interface %s:", inLog(name).c_str());
  const bool isPrivate = isInterfaceInPrivateNetwork(interface);
  DISCOVERY_TRACE(1, logPrefix_, "    - %s to a private network", isPrivate ? "Connects" : "Does not connect");
  bool selected = isSelected(name, isPrivate);
  const DB::Ptr<DB::Entry::DynIf> bound = interface->dynIf;
  if (bound) {
    DISCOVERY_TRACE(1, logPrefix_, "    v Is bound to %s", inLog(bound->name.get()).c_str());
  } else {
    DISCOVERY_TRACE(1, logPrefix_, "    - Is not bound");
    selected = false;
  }
  const bool isUp = interface->state.get() == DB::IpIfState_::UP;
  if (isUp) {
    DISCOVERY_TRACE(1, logPrefix_, "    v Is up");
  } else {
    DISCOVERY_TRACE(1, logPrefix_, "    x Is down");
  }
  if (!isUp || !selected) {
    DISCOVERY_TRACE(1, logPrefix_, "    X Skip this IP interface");
    return;
  }
  DISCOVERY_TRACE(1, logPrefix_, "    V Scan this IP interface");
  addScans(name, bound->name.get());
}

// A subnet counts when it lies wholly inside a private network; one that is larger or only overlaps does not.
// NOLINTNEXTLINE(performance-unnecessary-value-param): the caller's row may be moved on meanwhile.
bool JobNodeScan::isInterfaceInPrivateNetwork(DB::Ptr<DB::Entry::IpInterface> interface) const {
  using Query = DB::Table::IpInterfaceAddress::QueryByParentTypeStatusByKey;
  Query addresses(Query::Key(interface, OBJECT_TYPE, OBJECT_STATUS));
  for (addresses.begin(); addresses.iterate(); addresses.moveNext()) {
    const DB::Ptr<DB::Entry::IpInterfaceAddress> address = *addresses;
    IpAddress subnet;
    if (address->subnet.get(subnet).isErr()) continue;
    for (const IpAddress& network : privateNetworks()) {
      if (firstAddress(subnet) >= firstAddress(network) && lastAddress(subnet) <= lastAddress(network)) return true;
    }
  }
  return false;
}

bool JobNodeScan::isSelected(const String& name, bool connectsToPrivateNetwork) const {
  if (interfaceDescriptions_.isEmpty()) {
    DISCOVERY_TRACE(1, logPrefix_, "    - No regular expression specified");
    DISCOVERY_TRACE(1, logPrefix_, "    - Must connect to a private network by default");
    return connectsToPrivateNetwork;
  }
  for (const InterfaceDescription& rule : interfaceDescriptions_) {
    if (isAcceptedBy(rule, name, connectsToPrivateNetwork)) return true;
  }
  return false;
}

bool JobNodeScan::isAcceptedBy(const InterfaceDescription& rule, const String& name,
                               bool connectsToPrivateNetwork) const {
  DISCOVERY_TRACE(1, logPrefix_, "    - Comparing to description where");
  if (rule.expression == nullptr) {
    DISCOVERY_TRACE(1, logPrefix_, "      No regular expression");
  } else {
    const KXLockPtr<KXRegEx::Pattern> expression(rule.expression);
    DISCOVERY_TRACE(1, logPrefix_, "      Regular expression: /%s/", inLog(expression->source()).c_str());
    if (!expression->match(name)) {
      DISCOVERY_TRACE(1, logPrefix_, "      x Does not match");
      return false;
    }
    DISCOVERY_TRACE(1, logPrefix_, "      v Matches");
  }
  if (!rule.privateNetworksOnly) return true;
  DISCOVERY_TRACE(1, logPrefix_, "      Must connect to a private network");
  if (connectsToPrivateNetwork) {
    DISCOVERY_TRACE(1, logPrefix_, "      v Connects to a private network");
  } else {
    DISCOVERY_TRACE(1, logPrefix_, "      x Does not connect to a private network");
  }
  return connectsToPrivateNetwork;
}

// A scan bears the configured name of the interface, which its nodes get; its command names the device.
void JobNodeScan::addScans(const String& interfaceName, const String& deviceName) {
  using Shell::Command;
  addScan("ARP"_s, interfaceName,
          Command::format("arp-scan --interface=%s --localnet --quiet --timeout=5000 --retry=3", {deviceName}),
          arpScanParser_);
  addScan("Discovery"_s, interfaceName, Command::format("discovery-client -j -i %s", {deviceName}),
          discoveryScanParser_);
}

void JobNodeScan::addScan(const String& type, const String& name, const Shell::Command& command,
                          const ScanOutputParser& parser) {
  const KXPtr<Scan> scan(new Scan(eventLoop_, id_, type, name, command, parser));
  scan->statusUpdated.connect(Function<void()>::direct(this, &JobNodeScan::onScanStatusUpdated));
  scans_.add(scan);
}

}  // namespace KX::NMS::Discovery
