// SPDX-License-Identifier: Apache-2.0
// The requests with which the server shapes the node list.
#include "discovery/client/CClientDiscoveryService.h"
#include "discovery/common/Log.h"

namespace KX::NMS::Discovery {

XCode CClientDiscoveryService::checkNodeRequest(const Property::Value& request) const {
  if (!request["nodes"].isArray()) return XCode::error("Expecting nodes array");
  return repository_ == nullptr ? XCode(XCode::GENERIC_ERROR) : XCode();
}

XCode CClientDiscoveryService::onSyncNodesRequestReceived(const Property::Value& request) {
  DISCOVERY_TRACE(3, getLogPrefix(), "Received sync nodes request");
  const XCode refusal = checkNodeRequest(request);
  if (refusal.isErr()) return refuse(request, refusal);
  const bool isFirstSync = repository_->getNodes().isEmpty();
  for (const Property::Value& element : request["nodes"].elements()) syncNode(element, isFirstSync);
  Property::Value response;
  prepareAckResponse(response, request);
  const Property::Value nodes = exportNodes(All);
  response["nodes"_s] = nodes;
  DISCOVERY_TRACE(3, getLogPrefix(), "Sending sync nodes response (with %d nodes)", static_cast<int>(nodes.size()));
  static_cast<void>(sendMessage(response));
  return XCode();
}

void CClientDiscoveryService::syncNode(const Property::Value& element, bool isFirstSync) {
  const String ipAddress = element["ipAddress"].toString();
  const String physicalAddress = element["physicalAddress"].toString();
  const String interface = element["interface"].toString();
  KXLWPtr<Node> node;
  if (physicalAddress.isEmpty()) {
    node = addManualNode(ipAddress);
  } else {
    bool added = false;
    node = repository_->addDiscoveredNode(physicalAddress, ipAddress, interface, element["model"].toString(),
                                          element["supportsOnboarding"].toBoolOr(false), Repository::KeepExisting,
                                          &added, nullptr);
    if (added && isTracing(2)) {
      DISCOVERY_TRACE(3, getLogPrefix(), "  New discovered node from server: %s at %s on interface %s",
                      ipAddress.c_str(), physicalAddress.c_str(), interface.c_str());
    }
  }
  syncServices(element, ipAddress);
  // What the server restores after a start needs no service scan again.
  if (isFirstSync) node->setPendingServiceScans(0);
  syncStatus(element, ipAddress);
}

void CClientDiscoveryService::syncServices(const Property::Value& element, const String& ipAddress) {
  if (!element["services"].isObject()) return;
  KXStringHashTable<Service> services;
  for (const Property::Member& member : element["services"].members()) {
    services.set(member.key, Service{member.key, member.value["port"].toUInt16Or(0)});
  }
  static_cast<void>(repository_->setDiscoveredServices(ipAddress, services, element["model"].toString(),
                                                       element["systemObjectID"].toString()));
}

void CClientDiscoveryService::syncStatus(const Property::Value& element, const String& ipAddress) {
  const String status = element["status"].toString();
  if (!(status == "up") && !(status == "down")) return;
  const Clock changeDate(element["statusChangeDate"].toString(), Clock::UTC, 0);
  static_cast<void>(
      repository_->setStatus(ipAddress, status == "up" ? NodeStatus::UP : NodeStatus::DOWN, &changeDate, nullptr));
}

KXLWPtr<Node> CClientDiscoveryService::addManualNode(const String& ipAddress) {
  bool added = false;
  const KXLWPtr<Node> node = repository_->addManualNode(ipAddress, &added);
  if (added && isTracing(2)) {
    DISCOVERY_TRACE(3, getLogPrefix(), "  New manual node from server: %s", ipAddress.c_str());
  }
  return node;
}

XCode CClientDiscoveryService::onAddNodesRequestReceived(const Property::Value& request) {
  DISCOVERY_TRACE(3, getLogPrefix(), "Received add nodes request");
  const XCode refusal = checkNodeRequest(request);
  if (refusal.isErr()) return refuse(request, refusal);
  for (const Property::Value& element : request["nodes"].elements()) {
    static_cast<void>(addManualNode(element["ipAddress"].toString()));
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
