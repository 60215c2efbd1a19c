// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/base/Export.h"
#include "platform/base/KXPtr.h"
#include "platform/service/Factory.h"
#include "platform/service/IChannel.h"
#include "platform/service/ITransport.h"

namespace KX::NMS {

// What a session is opened with. Factory and monitor outlive it; the monitor may be null.
struct SessionOptions {
  static constexpr std::size_t DEFAULT_MESSAGE_LIMIT = std::size_t{16} << 20U;

  ServiceFactoryIf& factory;
  // Requests to any other service are refused.
  String serviceName;
  // Bytes of a received message without its line end; 0 is none.
  std::size_t messageLimit = DEFAULT_MESSAGE_LIMIT;
  RTD::Monitor* monitor = nullptr;

  KX::Property::JsonLimits limits() const;
};

// The protocol of one connection, whatever carries it: every message that comes in is answered once, in the order of
// arrival, by the service or by a nak; malformed ones never reach the service. It is the service's channel. An open
// session holds one service instance; opened again, it gets a new one. The session belongs to its connection and lives
// on the loop's thread; it may be closed, but not destroyed, from inside receive.
class KX_EXPORT ServiceSession final : public IChannel {
 public:
  ServiceSession(const SessionOptions& options, ITransport& transport) : options_(options), transport_(transport) {}
  ServiceSession(const ServiceSession&) = delete;
  ServiceSession& operator=(const ServiceSession&) = delete;
  ~ServiceSession() override { close(); }

  // Creates and starts a service. On an error the session is closed, and without one where the start has closed it.
  XCode open();
  // Stops the service and takes its channel away. What the service sends while it stops still goes out.
  void close();
  bool isOpen() const { return service_ != nullptr; }

  // One message without its line end. Blank ones are ignored, and so are all while the session is closed.
  void receive(std::string_view message);
  // In place of a message that the connection did not keep because it is above the limit.
  void receiveTooLarge();

  XCode sendMessage(const KX::Property::Value& message) override;

 private:
  // Answers what cannot be read; the reason goes to the log only.
  void refuseInvalid(const KX::Property::Value& message, const XCode& code, const String& reason);

  SessionOptions options_;
  ITransport& transport_;
  KXPPtr<CService> service_;
};

}  // namespace KX::NMS
