// SPDX-License-Identifier: Apache-2.0
// The requests with which the server shapes the node list.
#include <cstdint>
#include <iterator>
#include <utility>

#include "discovery/client/CClientDiscoveryService.h"
#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"
#include "discovery/repository/NodeLimitNote.h"

namespace KX::NMS::Discovery {
namespace {

// What a sync reads of a node, in one walk over its members.
struct SyncElement {
  explicit SyncElement(const Property::Value& element) {
    for (const Property::Member& member : element.members()) take(member.key, member.value);
  }

  String ipAddress;
  String physicalAddress;
  String interface;
  String model;
  String systemObjectID;
  bool supportsOnboarding = false;
  NodeStatus status = NodeStatus::UNKNOWN;  // leaves the node's as it is
  Clock statusChangeDate;
  Property::Value services;

 private:
  void take(std::string_view key, const Property::Value& value) {
    if (key == "ipAddress") {
      ipAddress = value.toString();
    } else if (key == "physicalAddress") {
      physicalAddress = value.toString();
    } else if (key == "interface") {
      interface = value.toString();
    } else if (key == "model") {
      model = value.toString();
    } else if (key == "systemObjectID") {
      systemObjectID = value.toString();
    } else if (key == "supportsOnboarding") {
      supportsOnboarding = value.toBoolOr(false);
    } else if (key == "status") {
      status = statusNamed(value.toString());
    } else if (key == "statusChangeDate") {
      statusChangeDate = Clock(value.toString(), Clock::UTC, 0);
    } else if (key == "services") {
      services = value;
    }
  }
  static NodeStatus statusNamed(std::string_view name) {
    if (name == "up") return NodeStatus::UP;
    return name == "down" ? NodeStatus::DOWN : NodeStatus::UNKNOWN;
  }
};

KXStringHashTable<Service> servicesOf(const Property::Value& object) {
  KXStringHashTable<Service> services;
  for (const Property::Member& member : object.members()) {
    services.set(member.key, Service{member.key, member.value["port"].toUInt16Or(0)});
  }
  return services;
}

}  // namespace

// The service tables made last. In a request, equal "services" mostly share their contents, by whose address they are
// known here while the request is there.
class CClientDiscoveryService::SyncServices {
 public:
  const KXStringHashTable<Service>& get(const Property::Value& object) {
    const Property::Member* const members = object.members().data();
    auto& places = made_[reinterpret_cast<std::uintptr_t>(members) / sizeof(Property::Member) % std::size(made_)];
    for (const Made& made : places) {
      if (made.members == members && members != nullptr) return made.services;
    }
    Made& made = places[turn_++ % std::size(places)];
    made = {members, servicesOf(object)};
    return made.services;
  }

 private:
  struct Made {
    const Property::Member* members = nullptr;
    KXStringHashTable<Service> services;
  };

  // Each may be in one of two places.
  Made made_[32][2];
  unsigned turn_ = 0;
};

XCode CClientDiscoveryService::checkNodeRequest(const Property::Value& request) const {
  if (!request["nodes"].isArray()) return XCode::error("Expecting nodes array");
  return repository_ == nullptr ? XCode(XCode::GENERIC_ERROR) : XCode();
}

XCode CClientDiscoveryService::onSyncNodesRequestReceived(const Property::Value& request) {
  DISCOVERY_TRACE(3, getLogPrefix(), "Received sync nodes request");
  const XCode refusal = checkNodeRequest(request);
  if (refusal.isErr()) return refuse(request, refusal);
  const bool isFirstSync = repository_->getNodes().isEmpty();
  SyncServices services;
  NodeLimitNote limit(*repository_, getLogPrefix());
  for (const Property::Value& element : request["nodes"].elements()) {
    limit.take(syncNode(element, services, isFirstSync));
  }
  Property::Value response;
  prepareAckResponse(response, request);
  dropRequest();
  const Property::Value nodes = exportNodes(All);
  response["nodes"_s] = nodes;
  DISCOVERY_TRACE(3, getLogPrefix(), "Sending sync nodes response (with %d nodes)", static_cast<int>(nodes.size()));
  static_cast<void>(sendMessage(response));
  return XCode();
}

KXLWPtr<Node> CClientDiscoveryService::syncNode(const Property::Value& element, SyncServices& services,
                                                bool isFirstSync) {
  const SyncElement given(element);
  KXLWPtr<Node> node;
  if (given.physicalAddress.isEmpty()) {
    node = addManualNode(given.ipAddress);
  } else {
    bool added = false;
    node = repository_->addDiscoveredNode(given.physicalAddress, given.ipAddress, given.interface, given.model,
                                          given.supportsOnboarding, Repository::KeepExisting, &added, nullptr);
    if (added && isTracing(2)) {
      DISCOVERY_TRACE(3, getLogPrefix(), "  New discovered node from server: %s at %s on interface %s",
                      inLog(given.ipAddress).c_str(), inLog(given.physicalAddress).c_str(),
                      inLog(given.interface).c_str());
    }
  }
  if (node == nullptr) return node;
  if (given.services.isObject()) {
    static_cast<void>(repository_->setDiscoveredServices(given.ipAddress, services.get(given.services), given.model,
                                                         given.systemObjectID));
  }
  // What the server restores after a start needs no service scan again.
  if (isFirstSync) node->setPendingServiceScans(0);
  if (given.status != NodeStatus::UNKNOWN) {
    static_cast<void>(repository_->setStatus(given.ipAddress, given.status, &given.statusChangeDate, nullptr));
  }
  return node;
}

KXLWPtr<Node> CClientDiscoveryService::addManualNode(const String& ipAddress) {
  bool added = false;
  const KXLWPtr<Node> node = repository_->addManualNode(ipAddress, &added);
  if (added && isTracing(2)) {
    DISCOVERY_TRACE(3, getLogPrefix(), "  New manual node from server: %s", inLog(ipAddress).c_str());
  }
  return node;
}

XCode CClientDiscoveryService::onAddNodesRequestReceived(const Property::Value& request) {
  DISCOVERY_TRACE(3, getLogPrefix(), "Received add nodes request");
  const XCode refusal = checkNodeRequest(request);
  if (refusal.isErr()) return refuse(request, refusal);
  NodeLimitNote limit(*repository_, getLogPrefix());
  for (const Property::Value& element : request["nodes"].elements()) {
    limit.take(addManualNode(element["ipAddress"].toString()));
  }
  DISCOVERY_TRACE(3, getLogPrefix(), "Sending add nodes response");
  Property::Value response;
  prepareAckResponse(response, request);
  static_cast<void>(sendMessage(response));
  return XCode();
}

XCode CClientDiscoveryService::onRemoveNodesRequestReceived(const Property::Value& request) {
  DISCOVERY_TRACE(3, getLogPrefix(), "Received remove nodes request");
  const XCode refusal = checkNodeRequest(request);
  if (refusal.isErr()) return refuse(request, refusal);
  for (const Property::Value& element : request["nodes"].elements()) {
    repository_->removeNode(element["ipAddress"].toString());
  }
  Property::Value response;
  prepareAckResponse(response, request);
  DISCOVERY_TRACE(3, getLogPrefix(), "Sending remove nodes response");
  static_cast<void>(sendMessage(response));
  return XCode();
}

}  // namespace KX::NMS::Discovery
