// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/repository/Repository.h"
#include "platform/process/Command.h"
#include "platform/service/CService.h"

namespace KX::NMS::Discovery {

// The discovery service: one object for each time that the server opens it. Its handlers answer every request
// themselves and therefore return success, after a refusal too. The client wires it to the repository and to its own
// callbacks right after its creation, under the service's lock. Event loop thread only.
class CClientDiscoveryService : public CInherit<CClientDiscoveryService, CService> {
 public:
  enum ExportMode : unsigned { All = 0, ChangesOnly = 1 };

  CClientDiscoveryService(const String& instanceName, IChannel* channel);

  void setRepository(Repository* repository) { repository_ = repository; }
  void setOnStarted(Function<void()> onStarted) { onStarted_ = std::move(onStarted); }
  void setOnStopped(Function<void()> onStopped) { onStopped_ = std::move(onStopped); }
  void setOnJobDescriptions(Function<void(Property::Value)> onJobDescriptions) {
    onJobDescriptions_ = std::move(onJobDescriptions);
  }

  XCode onStartService() override;
  XCode onStopService() override;

  // The nodes as the server sees them, all or those changed since the last export; the change marks of what is exported
  // are taken back, and the repository's in any case. Empty without a repository.
  Property::Value exportNodes(ExportMode mode);
  // Reports a job's status to the server, after a success together with the nodes that changed. A status scan is
  // reported only when it changed a node. What cannot be sent is lost; the next full sync makes up for it.
  void sendJobStatusEvent(const Property::Value& job);

 protected:
  ~CClientDiscoveryService() override = default;

 private:
  class SyncServices;
  struct ExportCounts {
    unsigned forced = 0;
    unsigned recentlyAdded = 0;
    unsigned recentlyDiscoveredServices = 0;
    unsigned recentlyChanged = 0;
  };

  XCode onSyncNodesRequestReceived(const Property::Value& request);
  XCode onAddNodesRequestReceived(const Property::Value& request);
  XCode onRemoveNodesRequestReceived(const Property::Value& request);
  XCode onBlinkNodesRequestReceived(const Property::Value& request);
  XCode onOnboardNodesRequestReceived(const Property::Value& request);
  XCode onUpdateJobDescriptionsRequestReceived(const Property::Value& request);

  [[nodiscard]] XCode checkNodeRequest(const Property::Value& request) const;
  XCode refuse(const Property::Value& request, const XCode& reason);
  KXLWPtr<Node> syncNode(const Property::Value& element, SyncServices& services, bool isFirstSync);
  KXLWPtr<Node> addManualNode(const String& ipAddress);
  Property::Value runForEach(const Property::Value& nodes,
                             Shell::Command (*makeCommand)(const Property::Value& node)) const;
  static Property::Value exportNode(Node& node, ExportMode mode, WireObjects& objects, ExportCounts& counts);
  void logExport(const Property::Value& nodes, const ExportCounts& counts) const;

  Repository* repository_ = nullptr;
  Function<void()> onStarted_;
  Function<void()> onStopped_;
  Function<void(Property::Value)> onJobDescriptions_;
};

}  // namespace KX::NMS::Discovery
