// SPDX-License-Identifier: Apache-2.0
// What leaves for the server by itself: nodes, and the events that carry them.
#include "discovery/client/CClientDiscoveryService.h"
#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"

namespace KX::NMS::Discovery {

Property::Value CClientDiscoveryService::exportNodes(ExportMode mode) {
  if (repository_ == nullptr) return Property::Value::array();
  const auto& known = repository_->getNodes();
  DISCOVERY_TRACE(3, getLogPrefix(), "Collecting %d nodes from repository%s", static_cast<int>(known.size()),
                  mode == All ? " (all)" : " (changes only)");
  ExportCounts counts;
  const auto marked = mode == All ? KXVector<KXLWPtr<Node>>() : repository_->getMarkedNodes();
  const auto& exported = mode == All ? known : marked;
  Property::Value nodes = Property::Value::array(exported.size());
  WireObjects objects;
  for (const KXLWPtr<Node>& node : exported) {
    Property::Value value = exportNode(*node, mode, objects, counts);
    if (value.isValid()) nodes.add(std::move(value));
  }
  logExport(nodes, counts);
  repository_->clearChangeMarks();
  return nodes;
}

// Kept on purpose: a changes-only export takes one mark a node, so a node that was added and has changed since is sent
// twice, first as added, and by the next export as changed. Without a mark there is nothing to send: an unset value.
Property::Value CClientDiscoveryService::exportNode(Node& node, ExportMode mode, WireObjects& objects,
                                                    ExportCounts& counts) {
  if (mode == All) {
    node.clearRecentlyAdded();
    node.clearRecentlyDiscoveredServices();
    node.clearRecentlyChanged();
    ++counts.forced;
    return node.toPropertyValue(Node::WithServices, objects);
  }
  if (node.isRecentlyAdded()) {
    node.clearRecentlyAdded();
    ++counts.recentlyAdded;
    return node.toPropertyValue(Node::WithServices, objects);
  }
  if (node.hasRecentlyDiscoveredServices()) {
    node.clearRecentlyDiscoveredServices();
    ++counts.recentlyDiscoveredServices;
    return node.toPropertyValue(Node::WithServices, objects);
  }
  if (node.isRecentlyChanged()) {
    node.clearRecentlyChanged();
    ++counts.recentlyChanged;
    return node.toPropertyValue(Node::WithoutServices, objects);
  }
  return Property::Value();
}

void CClientDiscoveryService::logExport(const Property::Value& nodes, const ExportCounts& counts) const {
  if (!isTracing(3)) return;
  const String& prefix = getLogPrefix();
  DISCOVERY_TRACE(3, prefix, "Resulting in %d nodes to be sent to the server", static_cast<int>(nodes.size()));
  if (counts.forced != 0) DISCOVERY_TRACE(3, prefix, "- Forced: %u", counts.forced);
  if (counts.recentlyAdded != 0) DISCOVERY_TRACE(3, prefix, "- Recently added: %u", counts.recentlyAdded);
  if (counts.recentlyDiscoveredServices != 0) {
    DISCOVERY_TRACE(3, prefix, "- Recently discovered services: %u", counts.recentlyDiscoveredServices);
  }
  if (counts.recentlyChanged != 0) DISCOVERY_TRACE(3, prefix, "- Recently changed: %u", counts.recentlyChanged);
}

void CClientDiscoveryService::sendJobStatusEvent(const Property::Value& job) {
  const String status = job["status"].toString();
  const String scanType = job["scanType"].toString();
  Property::Value nodes;
  if (status == "successful") nodes = exportNodes(ChangesOnly);
  const String& prefix = getLogPrefix();
  if (nodes.isEmpty() && scanType == "status") {
    DISCOVERY_TRACE(3, prefix, "No need to send a status event for %s %s job", status.c_str(), inLog(scanType).c_str());
    return;
  }
  DISCOVERY_TRACE(3, prefix, "Job %s: %s", inLog(job["id"].toString()).c_str(), status.c_str());
  Property::Value event;
  prepareEvent(event, "jobStatus"_s, 1);
  event["jobStatus"_s] = job;
  if (!nodes.isEmpty()) {
    event["nodes"_s] = nodes;
    DISCOVERY_TRACE(3, prefix, "Sending job status event (with %d node updates)", static_cast<int>(nodes.size()));
  } else {
    DISCOVERY_TRACE(3, prefix, "Sending job status event (without node updates)");
  }
  static_cast<void>(sendMessage(event));
}

}  // namespace KX::NMS::Discovery
