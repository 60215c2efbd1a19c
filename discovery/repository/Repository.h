// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>

#include "discovery/repository/NodeList.h"
#include "discovery/repository/ServiceTables.h"
#include "platform/base/Export.h"

namespace KX::NMS::Discovery {

// The device's list of known nodes, in the order of their creation, with an index by address of either kind. The host
// creates it before the client and the scheduler; both reach it by reference. It is used on the event loop's thread
// only and takes no lock. No operation calls back.
//
// Nodes are identified by their IP address, discovered ones by their physical address too. Where two nodes carry one IP
// address, the index names the one that was entered last; when that one leaves the address, the first other node in
// list order takes the entry over, so that every node stays reachable and removable.
//
// It holds at most as many nodes as the host allows: further ones are not created, known ones are updated as ever.
//
// In all operations an output flag may be null; one that is given is first set to false.
class KX_EXPORT Repository {
 public:
  // What an already known physical address means to addDiscoveredNode: the caller's view replaces the node's fields (a
  // scan), or the node keeps them (the server's copy).
  enum UpdateMode : unsigned { UpdateExisting = 0, KeepExisting = 1 };

  static constexpr unsigned DEFAULT_NODE_LIMIT = 100'000;

  // A limit of 0 is none.
  explicit Repository(unsigned nodeLimit = DEFAULT_NODE_LIMIT) : nodeLimit_(nodeLimit) {}
  Repository(const Repository&) = delete;
  Repository& operator=(const Repository&) = delete;

  unsigned nodeLimit() const { return nodeLimit_; }
  const KXVector<KXLWPtr<Node>>& getNodes() const { return nodes_.nodes(); }
  // Null when there is no such node, as below.
  KXLWPtr<Node> getNodeByIpAddress(const String& ipAddress) const;

  // Without a time the change is dated now. A status that the node has already changes nothing, the date included.
  KXLWPtr<Node> setStatus(const String& ipAddress, NodeStatus status, const Clock* when, bool* changed);
  void removeNode(const String& ipAddress);

  KXVector<KXLWPtr<Node>> getNodesWithPendingServiceScan() const;
  // Those with at least one known service.
  KXVector<KXLWPtr<Node>> getNodesWithPendingStatusScan() const;

  // Null when the node would be a new one and there is no room for it, here and in addDiscoveredNode.
  KXLWPtr<Node> addManualNode(const String& ipAddress, bool* added);
  KXLWPtr<Node> addDiscoveredNode(const String& physicalAddress, const String& ipAddress, const String& interface,
                                  const String& model, bool supportsOnboarding, UpdateMode mode, bool* added,
                                  bool* changed);
  // Adds to what the node has: services are overwritten or added, never removed; an empty text changes nothing.
  KXLWPtr<Node> setDiscoveredServices(const String& ipAddress, const KXStringHashTable<Service>& services,
                                      const String& model, const String& systemObjectID);

  // Every node with a change mark, in list order, for the changes-only export.
  KXVector<KXLWPtr<Node>> getMarkedNodes() const { return nodes_.marked(); }
  // The export ends with this, whatever it exported.
  void clearChangeMarks();

  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const;

 private:
  // By address, and then in list order.
  struct ByAddress {
    using is_transparent = void;
    bool operator()(const Node* left, const Node* right) const {
      return left->ipAddress_ == right->ipAddress_ ? left->place_ < right->place_
                                                   : left->ipAddress_.view() < right->ipAddress_.view();
    }
    bool operator()(const Node* node, std::string_view address) const { return node->ipAddress_.view() < address; }
  };

  bool isFull() const { return nodeLimit_ != 0 && getNodes().size() >= nodeLimit_; }
  KXLWPtr<Node> create(const String& ipAddress);
  void updateDiscoveredNode(const KXLWPtr<Node>& node, const String& ipAddress, const String& interface,
                            const String& model, bool supportsOnboarding, bool* changed);
  void takeOverPhysicalAddress(const KXLWPtr<Node>& node, const String& physicalAddress);
  void enterIpAddress(const KXLWPtr<Node>& node);
  void leaveIpAddress(const KXLWPtr<Node>& node);

  NodeList nodes_;
  ServiceTables serviceTables_;
  KXStringHashTable<KXLWPtr<Node>> byPhysicalAddress_;
  KXStringHashTable<KXLWPtr<Node>> byIpAddress_;
  // Kept for whoever reads a memory dump; nothing tests them, and every export clears all three.
  bool nodesAdded_ = false;
  bool servicesChanged_ = false;
  bool nodesChanged_ = false;
  // Nodes whose address another node's index entry holds: the heirs of the address.
  std::set<Node*, ByAddress> displaced_;
  unsigned nodeLimit_;
  // What the index gave last, or null: an update of a node asks for it several times in a row.
  mutable Node* latest_ = nullptr;
};

}  // namespace KX::NMS::Discovery
