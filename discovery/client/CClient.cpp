// SPDX-License-Identifier: Apache-2.0
#include "discovery/client/CClient.h"

#include "discovery/common/Log.h"
#include "discovery/common/ServiceConstants.h"

namespace KX::NMS::Discovery {

CClient::CClient(const String& name, Repository& repository, Function<void()> onConnected,
                 Function<void(Property::Value)> onJobDescriptions)
    : name_(name),
      logTag_("client"_s),
      repository_(repository),
      onConnected_(std::move(onConnected)),
      onJobDescriptions_(std::move(onJobDescriptions)),
      factory_(SERVICE_NAME_DISCOVERY, Direction::OPENED_BY_SERVER,
               ServiceFactory<CClientDiscoveryService>::CreationHook::direct(this, &CClient::initDiscoveryService)) {
  {
    const std::lock_guard guard(Factory::INSTANCE().getLock());
    Factory::INSTANCE().registerServiceFactory(factory_.serviceName(), factory_.direction(), Demand::ON_REQUEST,
                                               ProtocolPhase::OPEN, &factory_);
  }
  DISCOVERY_TRACE(1, String::format("[%s] ", logTag_.c_str()), "Discovery Client Created");
}

CClient::~CClient() {
  DISCOVERY_TRACE(1, String::format("[%s] ", logTag_.c_str()), "Discovery Client Destroyed");
  expireWeakLink();
}

XCode CClient::sendJobStatusEvent(const Property::Value& job) {
  if (!isConnected()) return XCode(XCode::GENERIC_ERROR);
  KXLockPtr<CClientDiscoveryService>(connectedService_)->sendJobStatusEvent(job);
  return XCode();
}

XCode CClient::initDiscoveryService(KXPPtr<CClientDiscoveryService> service) {
  createdService_ = service;
  const KXLockPtr<CClientDiscoveryService> locked(service);
  locked->setRepository(&repository_);
  locked->setOnStarted(Function<void()>::direct(this, &CClient::onServiceConnected));
  locked->setOnStopped(Function<void()>::direct(this, &CClient::onServiceDisconnected));
  locked->setOnJobDescriptions(Function<void(Property::Value)>::direct(this, &CClient::onJobDescriptionsReceived));
  return XCode();
}

void CClient::onServiceConnected() {
  connectedService_ = createdService_;
  if (onConnected_) onConnected_();
}

// The host is not told: its job status events are refused from now on.
void CClient::onServiceDisconnected() { connectedService_ = nullptr; }

void CClient::onJobDescriptionsReceived(Property::Value descriptions) {
  if (onJobDescriptions_) onJobDescriptions_(descriptions);
}

void CClient::getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
                      const String& title) const {
  if (column > maxColumn) return;
  if (level <= maxLevel) {
    container.add(level, column, String::format("%sQuelix Discovery Client", title.c_str()), String());
  }
  if (level + 1 <= maxLevel) container.add(level + 1, column, "Connected"_s, YES_NO(isConnected()));
}

}  // namespace KX::NMS::Discovery
