// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/CObject.h"
#include "platform/base/Export.h"
#include "platform/base/KXStringHashTable.h"
#include "platform/base/XCode.h"
#include "platform/loop/Function.h"
#include "platform/property/Value.h"
#include "platform/service/IChannel.h"

namespace RTD {
class Monitor;
}

namespace KX::NMS {

// Base of a service that a peer opens: it answers requests by their names and sends events. A session creates it
// through a factory, starts it, hands it the requests and stops it, all on the loop's thread and under the service's
// lock. Whoever holds the service longer than its session finds that it can no longer send. A handler may register and
// unregister handlers, and end the session.
class KX_EXPORT CService : public CInherit<CService, CObject> {
 public:
  using RequestHandler = KX::Function<XCode(const KX::Property::Value&)>;

  // Monitor and channel are not owned; both may be null.
  CService(const String& serviceName, const String& description, const String& instanceName, RTD::Monitor* monitor,
           IChannel* channel);

  // For the service to register its handlers, and to unregister them. A start that fails ends the session; it is not
  // followed by a stop. What a start calls may end the session: the stop then comes inside the start.
  virtual XCode onStartService() { return XCode(); }
  virtual XCode onStopService() { return XCode(); }

  // Called by the session. A service is started once; stopping it again, or before its start, only takes the channel
  // away.
  XCode start();
  XCode stop();
  // Calls the handler that is registered for the request's "name"; without one the answer is a nak "Unknown request".
  void handleRequest(KX::Property::Value request);

  const String& serviceName() const { return serviceName_; }
  const String& description() const { return description_; }
  const String& instanceName() const { return instanceName_; }
  RTD::Monitor* monitor() const { return monitor_; }
  // "[discovery 1] " for the first instance of the service "discovery".
  const String& getLogPrefix() const { return logPrefix_; }
  bool isStarted() const { return started_; }
  bool hasRequestHandler(const String& name) const { return handlers_.find(name) != nullptr; }

 protected:
  ~CService() override = default;

  // A name has one handler: the one registered last. Where a handler returns an error the nak goes out by itself;
  // success means that the handler has answered, or will.
  void registerRequestHandler(const String& name, RequestHandler handler);
  void unregisterRequestHandler(const String& name);

  // Gives back the memory of the request that is being handled, which for a large one the answer can use. What the
  // handler was given is unset from then on, so it has prepared its response before and will return success.
  void dropRequest();
  // Makes the response an ack to the request; members of its own are added afterwards.
  void prepareAckResponse(KX::Property::Value& response, const KX::Property::Value& request) const;
  // A nak that cannot be sent is dropped: there is nobody left to hear of it.
  void sendNakResponse(const KX::Property::Value& request, const XCode& code);
  // Makes the event an event of the given name and version, with the next sequence number of this instance.
  void prepareEvent(KX::Property::Value& event, const String& name, unsigned version);
  // An error once the session has ended.
  XCode sendMessage(const KX::Property::Value& message);

 private:
  String serviceName_;
  String description_;
  String instanceName_;
  String logPrefix_;
  RTD::Monitor* monitor_;
  IChannel* channel_;
  KXStringHashTable<RequestHandler> handlers_;
  KX::Property::Value* request_ = nullptr;  // the one that is being handled
  std::uint64_t sequence_ = 0;
  bool started_ = false;
};

}  // namespace KX::NMS
