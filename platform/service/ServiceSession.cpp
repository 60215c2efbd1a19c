// SPDX-License-Identifier: Apache-2.0
#include "platform/service/ServiceSession.h"

#include <utility>

#include "platform/monitor/Monitor.h"
#include "platform/service/Message.h"

namespace KX::NMS {

using KX::Property::Value;

KX::Property::JsonLimits SessionOptions::limits() const {
  KX::Property::JsonLimits limits;
  if (messageLimit != 0) limits.bytes = messageLimit;
  return limits;
}

XCode ServiceSession::open() {
  close();
  KXPPtr<CService> service;
  XCode result = options_.factory.createService(Factory::INSTANCE().nextInstanceName(), this, service);
  if (service == nullptr) return result.isErr() ? result : XCode::error("No service was created"_s);
  // Set before the start, which may end the session already.
  service_ = service;
  if (result.isSuccess()) result = KXLockPtr<CService>(service)->start();
  if (result.isErr()) close();
  return result;
}

void ServiceSession::close() {
  if (!isOpen()) return;
  const KXPPtr<CService> service = service_;
  // A service cannot keep its session from ending.
  static_cast<void>(KXLockPtr<CService>(service)->stop());
  service_ = nullptr;
}

void ServiceSession::receive(std::string_view message) {
  if (!isOpen() || Message::isBlank(message)) return;
  Value request;
  String reason;
  const XCode read = Message::readRequest(message, options_.limits(), request, reason);
  if (read.isErr()) return refuseInvalid(request, read, reason);
  if (request["service"].getStringOr(String()) != options_.serviceName) {
    static_cast<void>(sendMessage(Message::nak(request, XCode::error("Unknown service"_s))));
    return;
  }
  // The pointer keeps the service while a handler ends the session.
  const KXPPtr<CService> service = service_;
  KXLockPtr<CService>(service)->handleRequest(std::move(request));
}

void ServiceSession::receiveTooLarge() {
  if (!isOpen()) return;
  refuseInvalid(Value(), XCode::error("Invalid message"_s),
                String::format("more than %zu bytes", options_.messageLimit));
}

XCode ServiceSession::sendMessage(const Value& message) { return transport_.send(message.toJson()); }

void ServiceSession::refuseInvalid(const Value& message, const XCode& code, const String& reason) {
  if (options_.monitor != nullptr) {
    options_.monitor->note(RTD::REFUSAL, service_->getLogPrefix(), "%s: %s", code.toString().c_str(), reason.c_str());
  }
  static_cast<void>(sendMessage(Message::nak(message, code)));
}

}  // namespace KX::NMS
