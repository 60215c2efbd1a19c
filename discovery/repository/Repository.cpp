// SPDX-License-Identifier: Apache-2.0
#include "discovery/repository/Repository.h"

#include "discovery/common/Nesting.h"

namespace KX::NMS::Discovery {
namespace {

unsigned nesting = 0;

void setFlag(bool* flag, bool value) {
  if (flag != nullptr) *flag = value;
}

KXLWPtr<Node> lookUp(const KXStringHashTable<KXLWPtr<Node>>& index, const String& key) {
  const KXLWPtr<Node>* node = index.find(key);
  return node == nullptr ? nullptr : *node;
}

template <class Predicate>
KXVector<KXLWPtr<Node>> select(const KXVector<KXLWPtr<Node>>& nodes, Predicate isWanted) {
  KXVector<KXLWPtr<Node>> selected;
  for (const KXLWPtr<Node>& node : nodes) {
    if (isWanted(*node)) selected.add(node);
  }
  return selected;
}

}  // namespace

KXLWPtr<Node> Repository::getNodeByIpAddress(const String& ipAddress) const {
  if (latest_ == nullptr || !(latest_->ipAddress_ == ipAddress)) latest_ = lookUp(byIpAddress_, ipAddress).get();
  return latest_;
}

KXLWPtr<Node> Repository::setStatus(const String& ipAddress, NodeStatus status, const Clock* when, bool* changed) {
  setFlag(changed, false);
  KXLWPtr<Node> node = getNodeByIpAddress(ipAddress);
  if (node == nullptr || node->status_ == status) return node;
  node->status_ = status;
  node->statusChangeDate_ = when != nullptr ? *when : Clock::NOW();
  node->recentlyChanged_ = true;
  nodes_.mark(*node);
  nodesChanged_ = true;
  setFlag(changed, true);
  return node;
}

// A removal sets no flag: whoever asked for it knows, and the changes-only export does not report it.
void Repository::removeNode(const String& ipAddress) {
  const KXLWPtr<Node> node = getNodeByIpAddress(ipAddress);
  if (node == nullptr) return;
  nodes_.remove(node);
  leaveIpAddress(node);
  if (node->discovered_) byPhysicalAddress_.remove(node->physicalAddress_);
}

KXVector<KXLWPtr<Node>> Repository::getNodesWithPendingServiceScan() const {
  return select(getNodes(), [](const Node& node) { return node.pendingServiceScans_ != 0; });
}

KXVector<KXLWPtr<Node>> Repository::getNodesWithPendingStatusScan() const {
  return select(getNodes(), [](const Node& node) { return !node.services_.isEmpty(); });
}

KXLWPtr<Node> Repository::addManualNode(const String& ipAddress, bool* added) {
  setFlag(added, false);
  KXLWPtr<Node> node = getNodeByIpAddress(ipAddress);
  if (node == nullptr) {
    node = create(ipAddress);
    if (node == nullptr) return node;
    setFlag(added, true);
  }
  node->manual_ = true;
  return node;
}

KXLWPtr<Node> Repository::addDiscoveredNode(const String& physicalAddress, const String& ipAddress,
                                            const String& interface, const String& model, bool supportsOnboarding,
                                            UpdateMode mode, bool* added, bool* changed) {
  setFlag(added, false);
  setFlag(changed, false);
  KXLWPtr<Node> node = lookUp(byPhysicalAddress_, physicalAddress);
  if (node != nullptr) {
    node->discovered_ = true;
    if (mode == UpdateExisting) updateDiscoveredNode(node, ipAddress, interface, model, supportsOnboarding, changed);
    return node;
  }
  node = getNodeByIpAddress(ipAddress);
  if (node != nullptr) {
    takeOverPhysicalAddress(node, physicalAddress);
    node->interface_ = interface;
    return node;
  }
  node = create(ipAddress);
  if (node == nullptr) return node;
  takeOverPhysicalAddress(node, physicalAddress);
  node->interface_ = interface;
  node->model_ = model;
  node->supportsOnboarding_ = supportsOnboarding;
  setFlag(added, true);
  return node;
}

// Kept on purpose: none of the node's own marks is set, so the changes-only export does not carry such an update; the
// server learns of it with the next full sync.
void Repository::updateDiscoveredNode(const KXLWPtr<Node>& node, const String& ipAddress, const String& interface,
                                      const String& model, bool supportsOnboarding, bool* changed) {
  if (node->ipAddress_ == ipAddress && node->interface_ == interface && node->model_ == model &&
      node->supportsOnboarding_ == supportsOnboarding) {
    return;
  }
  leaveIpAddress(node);
  node->ipAddress_ = ipAddress;
  node->interface_ = interface;
  node->model_ = model;
  node->supportsOnboarding_ = supportsOnboarding;
  enterIpAddress(node);
  nodesChanged_ = true;
  setFlag(changed, true);
}

KXLWPtr<Node> Repository::setDiscoveredServices(const String& ipAddress, const KXStringHashTable<Service>& services,
                                                const String& model, const String& systemObjectID) {
  KXLWPtr<Node> node = getNodeByIpAddress(ipAddress);
  if (node == nullptr) return node;
  if (node->update(services, model, systemObjectID)) {
    serviceTables_.share(node->services_);
    node->recentlyDiscoveredServices_ = true;
    nodes_.mark(*node);
    servicesChanged_ = true;
  }
  return node;
}

void Repository::clearChangeMarks() {
  nodesAdded_ = false;
  servicesChanged_ = false;
  nodesChanged_ = false;
  nodes_.forgetUnmarked();
}

// The address is nobody's. Null when there is no room.
KXLWPtr<Node> Repository::create(const String& ipAddress) {
  if (isFull()) return nullptr;
  const KXLWPtr<Node> node(new Node);
  node->ipAddress_ = ipAddress;
  nodes_.add(node);
  node->recentlyAdded_ = true;
  nodes_.mark(*node);
  byIpAddress_.set(ipAddress, node);
  latest_ = node.get();
  nodesAdded_ = true;
  return node;
}

// A node is indexed under its current physical address only: the entry of the one before goes.
void Repository::takeOverPhysicalAddress(const KXLWPtr<Node>& node, const String& physicalAddress) {
  if (node->discovered_) byPhysicalAddress_.remove(node->physicalAddress_);
  node->discovered_ = true;
  node->physicalAddress_ = physicalAddress;
  byPhysicalAddress_.set(physicalAddress, node);
}

void Repository::enterIpAddress(const KXLWPtr<Node>& node) {
  if (KXLWPtr<Node>* const entry = byIpAddress_.find(node->ipAddress_)) {
    displaced_.insert(entry->get());
    *entry = node;
  } else {
    byIpAddress_.set(node->ipAddress_, node);
  }
  latest_ = node.get();
}

void Repository::leaveIpAddress(const KXLWPtr<Node>& node) {
  if (!(getNodeByIpAddress(node->ipAddress_) == node)) {
    displaced_.erase(node.get());
    return;
  }
  latest_ = nullptr;
  const auto heir = displaced_.lower_bound(node->ipAddress_.view());
  if (heir == displaced_.end() || !((*heir)->ipAddress_ == node->ipAddress_)) {
    byIpAddress_.remove(node->ipAddress_);
  } else {
    byIpAddress_.set(node->ipAddress_, KXLWPtr<Node>(*heir));
    displaced_.erase(heir);
  }
}

void Repository::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn,
                         unsigned column, const String& title) const {
  const Nesting scope(nesting);
  if (level <= maxLevel && column <= maxColumn) {
    container.add(level, column, String::format("%sLocal Node Repository", title.c_str()), String());
  }
  if (!scope.isOutermost()) return;
  for (const KXLWPtr<Node>& node : getNodes()) {
    node->getInfo(container, maxLevel, level + 1, maxColumn, column, String());
  }
}

}  // namespace KX::NMS::Discovery
