// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "platform/base/XCode.h"
#include "platform/loop/KXEventLoop.h"
#include "tools/protocol/Coap.h"
#include "tools/protocol/Description.h"
#include "tools/protocol/PskFile.h"
#include "tools/responder/Actions.h"
#include "tools/responder/Budget.h"
#include "tools/responder/Endpoint.h"
#include "tools/responder/Handshakes.h"
#include "tools/responder/RepeatedLine.h"

namespace DeviceDiscovery::Responder {

// The CoAP server: the device's description for everybody on the interface, and its actions for those who may. It joins
// the group as soon as the interface is there with an address, and again when it has come back. Plain CoAP and DTLS
// share neither context nor budget: strangers cannot use up what is there for those who hold the key.
class Server {
 public:
  struct Settings {
    String interface;
    Description description;
    PreSharedKey preSharedKey;  // when it is set, actions are refused to all who do not use it
  };

  Server(KXEventLoop& loop, Settings settings, Actions& actions);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  [[nodiscard]] XCode open();

 private:
  XCode openPlain();
  XCode openSecure();
  bool prepare(coap_context_t& context);
  bool useKey(coap_context_t& context);
  bool addResources(coap_context_t& context);
  coap_resource_t* addResource(coap_context_t& context, const char* path, const char* type, int flags,
                               coap_request_t method, coap_method_handler_t handler);
  void followInterface();
  void onSecureServed();
  bool isMine(const coap_session_t& session) const;
  bool mayDescribe(const coap_session_t& session);
  bool mayAct(const coap_session_t& session, coap_pdu_t& response);
  void describe(coap_pdu_t& response) const;
  void report(RepeatedLine& line, const coap_session_t& session, const char* what, const XCode& result);

  static Server& of(const coap_session_t& session);
  static void onDescribe(coap_resource_t*, coap_session_t*, const coap_pdu_t*, const coap_string_t*, coap_pdu_t*);
  static void onBlink(coap_resource_t*, coap_session_t*, const coap_pdu_t*, const coap_string_t*, coap_pdu_t*);
  static void onOnboard(coap_resource_t*, coap_session_t*, const coap_pdu_t*, const coap_string_t*, coap_pdu_t*);
  static int onEvent(coap_session_t*, coap_event_t);
  static const coap_bin_const_t* onIdentity(coap_bin_const_t*, coap_session_t*, void*);

  KXEventLoop& loop_;
  const Settings settings_;
  const String json_;
  const coap_bin_const_t key_;
  Actions& actions_;
  int interfaceIndex_ = -1;  // 0 while it is not there, or has no address
  Budget descriptions_;
  Budget plainActions_;
  Budget secureRequests_;
  RepeatedLine refused_;
  RepeatedLine blinking_;
  RepeatedLine onboarding_;
  RepeatedLine failed_;
  Handshakes handshakes_;
  Endpoint plain_;
  Endpoint secure_;
  std::unique_ptr<KX::TimeoutEvent> timer_;
};

}  // namespace DeviceDiscovery::Responder
