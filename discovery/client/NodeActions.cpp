// SPDX-License-Identifier: Apache-2.0
// The requests with which the server acts on nodes, by way of the device's discovery-client.
#include "discovery/client/CClientDiscoveryService.h"
#include "discovery/common/Log.h"
#include "discovery/common/LogText.h"
#include "platform/process/Shell.h"

namespace KX::NMS::Discovery {
namespace {

// Every node is checked before anything runs.
XCode checkNodes(const Property::Value& nodes, bool needsKey) {
  if (!nodes.isArray()) return XCode::error("Expecting nodes array");
  for (const Property::Value& node : nodes.elements()) {
    // Kept on purpose: servers know the text as it is spelled.
    if (!node["ipAddress"].isString()) return XCode::error("Expecing node IP address");
    if (needsKey && !node["organizationKey"].isString()) return XCode::error("Expecting node organization key");
  }
  return XCode();
}

Shell::Command blinkCommand(const Property::Value& node) {
  return Shell::Command::format("discovery-client -d %s -b", {node["ipAddress"].toString()});
}

Shell::Command onboardCommand(const Property::Value& node) {
  String key = node["organizationKey"].toString();
  if (node["server"].isString()) key.append(":").append(node["server"].stringView());
  return Shell::Command::format("discovery-client -d %s -o %s", {node["ipAddress"].toString(), key});
}

}  // namespace

XCode CClientDiscoveryService::onBlinkNodesRequestReceived(const Property::Value& request) {
  DISCOVERY_TRACE(3, getLogPrefix(), "Received blink nodes request");
  const XCode refusal = checkNodes(request["nodes"], false);
  if (refusal.isErr()) return refuse(request, refusal);
  Property::Value response;
  prepareAckResponse(response, request);
  response["nodes"_s] = runForEach(request["nodes"], blinkCommand);
  DISCOVERY_TRACE(3, getLogPrefix(), "Sending blink nodes response");
  static_cast<void>(sendMessage(response));
  return XCode();
}

XCode CClientDiscoveryService::onOnboardNodesRequestReceived(const Property::Value& request) {
  DISCOVERY_TRACE(3, getLogPrefix(), "Received onboard nodes request");
  const XCode refusal = checkNodes(request["nodes"], true);
  if (refusal.isErr()) return refuse(request, refusal);
  Property::Value response;
  prepareAckResponse(response, request);
  response["nodes"_s] = runForEach(request["nodes"], onboardCommand);
  DISCOVERY_TRACE(3, getLogPrefix(), "Sending onboard nodes response");
  static_cast<void>(sendMessage(response));
  return XCode();
}

// Kept on purpose: a node is reported as successful once its command has been run, however that ended.
Property::Value CClientDiscoveryService::runForEach(const Property::Value& nodes,
                                                    Shell::Command (*makeCommand)(const Property::Value& node)) const {
  Property::Value results = Property::Value::array(nodes.size());
  for (const Property::Value& node : nodes.elements()) {
    const Shell::Command command = makeCommand(node);
    DISCOVERY_TRACE(3, getLogPrefix(), "Executing: %s", inLog(command.line()).c_str());
    static_cast<void>(Shell::execute(command));
    Property::Value result = node;
    result["status"_s] = "successful"_s;
    results.add(result);
  }
  return results;
}

}  // namespace KX::NMS::Discovery
