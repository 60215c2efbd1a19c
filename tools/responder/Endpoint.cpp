// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/Endpoint.h"

namespace DeviceDiscovery::Responder {
namespace {

// A session is what the library remembers of a client. Beyond these, the one that has been idle for longest goes.
constexpr unsigned MAX_IDLE_SESSIONS = 64;
// More than Handshakes lets come about: beyond these the library would refuse everybody.
constexpr unsigned MAX_HANDSHAKES = 1024;
constexpr unsigned SESSION_SECONDS = 30;

}  // namespace

XCode Endpoint::open(KXEventLoop& loop, const Settings& settings) {
  CoapContext fresh(coap_new_context(nullptr));
  if (fresh == nullptr || !settings.prepare(*fresh)) {
    close();
    return XCode::error("cannot set up CoAP"_s);
  }
  coap_context_set_max_idle_sessions(fresh.get(), MAX_IDLE_SESSIONS);
  coap_context_set_max_handshake_sessions(fresh.get(), MAX_HANDSHAKES);
  coap_context_set_session_timeout(fresh.get(), SESSION_SECONDS);
  const coap_address_t address = toCoapAddress(INADDR_ANY, settings.port);
  const bool isBound = coap_new_endpoint(fresh.get(), &address, settings.protocol) != nullptr;
  close();
  if (!isBound) return XCode::error(String::format("cannot listen on UDP port %u", settings.port));
  context_ = std::move(fresh);
  watch_ = loop.createDescriptorEvent(coap_context_get_coap_fd(context_.get()), KXEventLoop::READABLE,
                                      [this, served = settings.served](unsigned) {
                                        serve();
                                        if (served) served();
                                      });
  return watch_ != nullptr ? XCode() : XCode::error("cannot watch the CoAP sockets"_s);
}

void Endpoint::serve() {
  if (context_ != nullptr) coap_io_process(context_.get(), COAP_IO_NO_WAIT);
}

// The watch is one of the context's descriptor.
void Endpoint::close() {
  watch_.reset();
  context_.reset();
}

}  // namespace DeviceDiscovery::Responder
