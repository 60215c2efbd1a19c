// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "discovery/common/NodeStatus.h"
#include "discovery/repository/WireObjects.h"
#include "platform/base/Export.h"
#include "platform/base/KXPtr.h"
#include "platform/base/KXStringHashTable.h"
#include "platform/base/RefCounted.h"
#include "platform/time/Clock.h"

namespace KX::NMS::Discovery {

// One network device that the discovery service knows of, found by a scan (discovered) or handed in by the server
// (manual). The repository creates and owns nodes and is alone in changing what it keeps of them; jobs and request
// handlers hold one for the length of an operation, and may still hold it when it has been removed. One thread.
class KX_EXPORT Node : public RefCounted {
 public:
  enum ServiceSelector : unsigned { WithServices = 0, WithoutServices = 1 };
  // How many service scans a new node is owed.
  static constexpr std::uint32_t INITIAL_SERVICE_SCANS = 2;

  Node() = default;

  bool isManual() const { return manual_; }
  bool isDiscovered() const { return discovered_; }
  const String& physicalAddress() const { return physicalAddress_; }
  const String& ipAddress() const { return ipAddress_; }
  const String& interface() const { return interface_; }
  const String& model() const { return model_; }
  const String& systemObjectID() const { return systemObjectID_; }
  bool supportsOnboarding() const { return supportsOnboarding_; }
  NodeStatus status() const { return status_; }
  const Clock& statusChangeDate() const { return statusChangeDate_; }
  std::uint32_t pendingServiceScans() const { return pendingServiceScans_; }
  bool isRecentlyAdded() const { return recentlyAdded_; }
  bool hasRecentlyDiscoveredServices() const { return recentlyDiscoveredServices_; }
  bool isRecentlyChanged() const { return recentlyChanged_; }
  const KXStringHashTable<Service>& services() const { return services_; }

  // Changed by the service scan, which counts down, and by a first sync.
  void setPendingServiceScans(std::uint32_t count) { pendingServiceScans_ = count; }
  // The export takes the change marks back as it reports them.
  void clearRecentlyAdded() { recentlyAdded_ = false; }
  void clearRecentlyDiscoveredServices() { recentlyDiscoveredServices_ = false; }
  void clearRecentlyChanged() { recentlyChanged_ = false; }

  // The node as the server sees it; what is empty or unknown is left out.
  Property::Value toPropertyValue(ServiceSelector selector) const;
  // The same for many nodes in a row.
  Property::Value toPropertyValue(ServiceSelector selector, WireObjects& objects) const;
  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const;

 protected:
  ~Node() override = default;

 private:
  friend class NodeList;
  friend class Repository;

  // The place of a node that is in no list.
  static constexpr std::uint32_t NO_PLACE = 0xffffffffU;

  // Adds services and overwrites known ones; an empty text changes nothing. Whether the server would see a change,
  // which is whether the JSON text of the wire object differs.
  bool update(const KXStringHashTable<Service>& services, const String& model, const String& systemObjectID);
  bool updateServices(const KXStringHashTable<Service>& services);
  bool hasMark() const { return recentlyAdded_ || recentlyDiscoveredServices_ || recentlyChanged_; }
  void addDetails(InfoContainer& container, unsigned level, unsigned column) const;

  // There are as many of these as of nodes, so their order leaves no holes.
  std::uint32_t place_ = NO_PLACE;  // the list's
  String physicalAddress_;
  String ipAddress_;
  String interface_;
  String model_;
  String systemObjectID_;
  NodeStatus status_ = NodeStatus::UNKNOWN;
  std::uint32_t pendingServiceScans_ = INITIAL_SERVICE_SCANS;
  Clock statusChangeDate_ = Clock::NOW();
  bool manual_ = false;
  bool discovered_ = false;
  bool supportsOnboarding_ = false;
  bool recentlyAdded_ = false;
  bool recentlyDiscoveredServices_ = false;
  bool recentlyChanged_ = false;
  bool isListedAsMarked_ = false;  // the list's
  KXStringHashTable<Service> services_;
};

}  // namespace KX::NMS::Discovery
