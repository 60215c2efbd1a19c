// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <vector>

#include "platform/service/ServiceFactory.h"

// A small service for the tests of the framework and of the links.
class EchoService : public KX::NMS::CService {
 public:
  EchoService(const String& instanceName, KX::NMS::IChannel* channel)
      : CService("echo"_s, "Echoes"_s, instanceName, nullptr, channel) {}

  XCode onStartService() override {
    if (startResult.isErr()) return startResult;
    handle("echo"_s, &EchoService::onEcho);
    handle("fill"_s, &EchoService::onFill);
    handle("refuse"_s, &EchoService::onRefuse);
    handle("tell"_s, &EchoService::onTell);
    handle("act"_s, &EchoService::onAct);
    if (onStarted) onStarted();
    return XCode();
  }
  XCode onStopService() override {
    ++stops;
    static_cast<void>(tell("stopping"_s));
    for (const char* name : {"act", "tell", "refuse", "fill", "echo"}) unregisterRequestHandler(name);
    if (onStopped) onStopped();
    return XCode();
  }

  XCode tell(const String& name) {
    KX::Property::Value event;
    prepareEvent(event, name, 1);
    return sendMessage(event);
  }
  using CService::dropRequest;
  using CService::prepareAckResponse;
  using CService::prepareEvent;
  using CService::registerRequestHandler;
  using CService::sendMessage;
  using CService::sendNakResponse;
  using CService::unregisterRequestHandler;

  XCode startResult;
  std::function<void()> action;
  std::function<void()> onStarted;
  std::function<void()> onStopped;
  int stops = 0;

 private:
  using Value = KX::Property::Value;
  void handle(const String& name, XCode (EchoService::*handler)(const Value&)) {
    registerRequestHandler(name, RequestHandler::direct(this, handler));
  }
  XCode answer(const Value& request, const Value& data) {
    Value response;
    prepareAckResponse(response, request);
    response["data"] = data;
    static_cast<void>(sendMessage(response));
    return XCode();
  }
  XCode onEcho(const Value& request) { return answer(request, request["data"]); }
  // As many bytes as "size" says.
  XCode onFill(const Value& request) { return answer(request, String(std::string(request["size"].toUIntOr(0), 'x'))); }
  XCode onRefuse(const Value&) { return XCode::error("Not today"_s); }
  XCode onTell(const Value& request) {
    const XCode result = tell("told"_s);
    return result.isErr() ? result : answer(request, Value());
  }
  XCode onAct(const Value& request) {
    if (action) action();
    return answer(request, Value());
  }
};

// Creates them and keeps them all.
class EchoFactory {
 public:
  EchoFactory()
      : factory("echo"_s, KX::NMS::Direction::OPENED_BY_SERVER, [this](KXPPtr<EchoService> service) {
          services.push_back(service);
          if (onCreated) onCreated(*service);
          return result;
        }) {}

  EchoService& last() { return *services.back(); }

  std::vector<KXPPtr<EchoService>> services;
  std::function<void(EchoService&)> onCreated;
  XCode result;
  KX::NMS::ServiceFactory<EchoService> factory;
};
