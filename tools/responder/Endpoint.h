// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "platform/base/XCode.h"
#include "platform/loop/KXEventLoop.h"
#include "tools/protocol/Coap.h"

namespace DeviceDiscovery::Responder {

// One UDP port with a CoAP context of its own, and so with bounds of its own, which the loop serves.
class Endpoint {
 public:
  struct Settings {
    std::uint16_t port;
    coap_proto_t protocol;
    std::function<bool(coap_context_t&)> prepare;  // sets up all but the bounds
    std::function<void()> served;                  // after something has come; may open the endpoint anew
  };

  Endpoint() = default;
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  // Also anew, with nothing left of what was before; the port is not closed in between. After an error it is closed.
  [[nodiscard]] XCode open(KXEventLoop& loop, const Settings& settings);
  bool isOpen() const { return watch_ != nullptr; }
  coap_context_t* context() const { return context_.get(); }
  // Does what has come to be due meanwhile.
  void serve();

 private:
  void close();

  CoapContext context_;
  std::unique_ptr<KX::WatchEvent> watch_;
};

}  // namespace DeviceDiscovery::Responder
