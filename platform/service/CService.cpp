// SPDX-License-Identifier: Apache-2.0
#include "platform/service/CService.h"

#include <utility>

#include "platform/service/Message.h"

namespace KX::NMS {

using KX::Property::Value;

CService::CService(const String& serviceName, const String& description, const String& instanceName,
                   RTD::Monitor* monitor, IChannel* channel)
    : serviceName_(serviceName),
      description_(description),
      instanceName_(instanceName),
      logPrefix_(String::format("[%s %s] ", serviceName.c_str(), instanceName.c_str())),
      monitor_(monitor),
      channel_(channel) {}

XCode CService::start() {
  // Set before, since what the start calls may stop the service already.
  started_ = true;
  const XCode result = onStartService();
  if (result.isErr()) started_ = false;
  return result;
}

XCode CService::stop() {
  XCode result;
  if (started_) {
    started_ = false;
    result = onStopService();
  }
  channel_ = nullptr;
  return result;
}

void CService::handleRequest(Value request) {
  const RequestHandler* registered = handlers_.find(request["name"].getStringOr(String()));
  // A copy, since the handler may unregister itself.
  const RequestHandler handler = registered == nullptr ? RequestHandler() : *registered;
  // A handler may get to handle another one.
  Value* const outer = std::exchange(request_, &request);
  const XCode result = handler ? handler(request) : XCode::error("Unknown request"_s);
  request_ = outer;
  if (result.isErr()) sendNakResponse(request, result);
}

void CService::registerRequestHandler(const String& name, RequestHandler handler) {
  handlers_.set(name, std::move(handler));
}

void CService::unregisterRequestHandler(const String& name) { handlers_.remove(name); }

void CService::dropRequest() {
  if (request_ != nullptr) *request_ = Value();
}

void CService::prepareAckResponse(Value& response, const Value& request) const { response = Message::ack(request); }

void CService::sendNakResponse(const Value& request, const XCode& code) {
  static_cast<void>(sendMessage(Message::nak(request, code)));
}

void CService::prepareEvent(Value& event, const String& name, unsigned version) {
  event = Value::object(7);
  event["kind"] = "event"_s;
  event["service"] = serviceName_;
  event["name"] = name;
  event["version"] = version;
  event["sequence"] = ++sequence_;
}

XCode CService::sendMessage(const Value& message) {
  if (channel_ == nullptr) return XCode::error("Not connected"_s);
  return channel_->sendMessage(message);
}

}  // namespace KX::NMS
