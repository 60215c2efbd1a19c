// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/client/CClientDiscoveryService.h"
#include "platform/base/Export.h"
#include "platform/monitor/InfoContainer.h"
#include "platform/service/ServiceFactory.h"

namespace KX::NMS::Discovery {

// The host's handle on the link to the management server. It registers a factory for the discovery service; whenever
// the server opens the service, the new service is wired to the repository, which must outlive the client, and to this
// client's callbacks. The host holds the client through a KXPPtr on the event loop's thread; its callbacks run inside
// the service's start and inside a request's handling.
class KX_EXPORT CClient : public CInherit<CClient, CObject, IInfo> {
 public:
  // onConnected is called each time the service starts; onJobDescriptions gets the server's scan plans. Both may be
  // empty.
  CClient(const String& name, Repository& repository, Function<void()> onConnected,
          Function<void(Property::Value)> onJobDescriptions);

  const String& name() const { return name_; }
  bool isConnected() const { return static_cast<bool>(connectedService_); }
  // An error while no service is connected; otherwise success, whether or not the event could be sent.
  XCode sendJobStatusEvent(const Property::Value& job);

  // What a link opens for this client.
  ServiceFactoryIf& serviceFactory() { return factory_; }
  // The factory's creation hook, and what the service calls.
  XCode initDiscoveryService(KXPPtr<CClientDiscoveryService> service);
  void onServiceConnected();
  void onServiceDisconnected();
  void onJobDescriptionsReceived(Property::Value descriptions);

  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const override;

 protected:
  ~CClient() override;

 private:
  String name_;
  String logTag_;
  Repository& repository_;
  Function<void()> onConnected_;
  Function<void(Property::Value)> onJobDescriptions_;
  ServiceFactory<CClientDiscoveryService> factory_;
  KXPPtr<CClientDiscoveryService> createdService_;
  KXPPtr<CClientDiscoveryService> connectedService_;
};

}  // namespace KX::NMS::Discovery
