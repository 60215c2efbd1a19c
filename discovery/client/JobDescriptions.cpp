// SPDX-License-Identifier: Apache-2.0
// The request with which the server sets the scan plan.
#include "discovery/client/CClientDiscoveryService.h"
#include "discovery/common/Log.h"

namespace KX::NMS::Discovery {

// Whether single descriptions are valid is not part of the answer; it shows in their jobs' status.
XCode CClientDiscoveryService::onUpdateJobDescriptionsRequestReceived(const Property::Value& request) {
  const Property::Value descriptions = request["jobDescriptions"];
  DISCOVERY_TRACE(3, getLogPrefix(), "Received job descriptions request (with %d jobs)",
                  static_cast<int>(descriptions.size()));
  if (!descriptions.isArray()) return refuse(request, XCode::error("Expecting jobDescriptions array"));
  if (!onJobDescriptions_) return refuse(request, XCode::error("Scan job scheduler not set up on device"));
  onJobDescriptions_(descriptions);
  Property::Value response;
  prepareAckResponse(response, request);
  static_cast<void>(sendMessage(response));
  return XCode();
}

}  // namespace KX::NMS::Discovery
