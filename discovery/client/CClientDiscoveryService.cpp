// SPDX-License-Identifier: Apache-2.0
#include "discovery/client/CClientDiscoveryService.h"

#include "discovery/common/Log.h"
#include "discovery/common/ServiceConstants.h"

namespace KX::NMS::Discovery {

CClientDiscoveryService::CClientDiscoveryService(const String& instanceName, IChannel* channel)
    : CInherit(SERVICE_NAME_DISCOVERY, SERVICE_DESC_DISCOVERY, instanceName, MON, channel) {}

XCode CClientDiscoveryService::onStartService() {
  const auto handler = [this](XCode (CClientDiscoveryService::*operation)(const Property::Value&)) {
    return RequestHandler::direct(this, operation);
  };
  registerRequestHandler("syncNodes"_s, handler(&CClientDiscoveryService::onSyncNodesRequestReceived));
  registerRequestHandler("addNodes"_s, handler(&CClientDiscoveryService::onAddNodesRequestReceived));
  registerRequestHandler("removeNodes"_s, handler(&CClientDiscoveryService::onRemoveNodesRequestReceived));
  registerRequestHandler("blinkNodes"_s, handler(&CClientDiscoveryService::onBlinkNodesRequestReceived));
  registerRequestHandler("onboardNodes"_s, handler(&CClientDiscoveryService::onOnboardNodesRequestReceived));
  registerRequestHandler("updateJobDescriptions"_s,
                         handler(&CClientDiscoveryService::onUpdateJobDescriptionsRequestReceived));
  if (onStarted_) onStarted_();
  return XCode();
}

XCode CClientDiscoveryService::onStopService() {
  if (onStopped_) onStopped_();
  unregisterRequestHandler("updateJobDescriptions"_s);
  unregisterRequestHandler("onboardNodes"_s);
  unregisterRequestHandler("blinkNodes"_s);
  unregisterRequestHandler("removeNodes"_s);
  unregisterRequestHandler("addNodes"_s);
  unregisterRequestHandler("syncNodes"_s);
  return XCode();
}

XCode CClientDiscoveryService::refuse(const Property::Value& request, const XCode& reason) {
  sendNakResponse(request, reason);
  return XCode();
}

}  // namespace KX::NMS::Discovery
