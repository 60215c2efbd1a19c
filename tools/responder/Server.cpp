// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/Server.h"

#include <arpa/inet.h>
#include <net/if.h>

#include "tools/protocol/Organisation.h"
#include "tools/protocol/Protocol.h"
#include "tools/responder/Log.h"

namespace DeviceDiscovery::Responder {
namespace {

constexpr std::uint64_t FOLLOW_MS = 5000;
// At once and in a second. Whoever asks for more gets none, so that a flood of forged questions costs neither memory
// nor the LAN.
constexpr unsigned MAX_ANSWERS = 100;
// Without DTLS, anybody can ask for an action, and one may write to the device's flash.
constexpr unsigned MAX_PLAIN_ACTIONS = 10;
constexpr unsigned MAX_PLAIN_ACTIONS_IN_SECOND = 1;
constexpr coap_fixed_point_t LEISURE{LEISURE_MS / 1000, LEISURE_MS % 1000};

String toDottedQuad(const coap_session_t& session) {
  char text[INET6_ADDRSTRLEN] = "";
  const coap_address_t* const address = coap_session_get_addr_remote(&session);
  static_cast<void>(inet_ntop(AF_INET, &address->addr.sin.sin_addr, text, sizeof(text)));
  return text;
}

bool isSecure(const coap_session_t& session) { return coap_session_get_proto(&session) == COAP_PROTO_DTLS; }

coap_str_const_t* toStatic(const char* text) { return coap_make_str_const(text); }

}  // namespace

Server::Server(KXEventLoop& loop, Settings settings, Actions& actions)
    : loop_(loop),
      settings_(std::move(settings)),
      json_(settings_.description.toJson()),
      key_(toBinary(settings_.preSharedKey.key)),
      actions_(actions),
      descriptions_(MAX_ANSWERS, MAX_ANSWERS),
      plainActions_(MAX_PLAIN_ACTIONS, MAX_PLAIN_ACTIONS_IN_SECOND),
      secureRequests_(MAX_ANSWERS, MAX_ANSWERS),
      refused_(loop),
      blinking_(loop),
      onboarding_(loop),
      failed_(loop) {}

XCode Server::open() {
  startCoap();
  XCode result = openPlain();
  if (result.isSuccess() && settings_.preSharedKey.isSet()) result = openSecure();
  timer_ = loop_.createTimeoutEvent(0, [this] { followInterface(); });
  timer_->start(FOLLOW_MS, true, true);
  return result;
}

XCode Server::openPlain() {
  const auto prepareIt = [this](coap_context_t& context) { return prepare(context); };
  return plain_.open(loop_, {PORT, COAP_PROTO_UDP, prepareIt, nullptr});
}

XCode Server::openSecure() {
  const auto prepareIt = [this](coap_context_t& context) { return prepare(context) && useKey(context); };
  const XCode result = secure_.open(loop_, {SECURE_PORT, COAP_PROTO_DTLS, prepareIt, [this] { onSecureServed(); }});
  handshakes_.clear();
  return result;
}

bool Server::prepare(coap_context_t& context) {
  coap_set_app_data(&context, this);
  coap_mcast_per_resource(&context);
  coap_register_event_handler(&context, onEvent);
  return addResources(context);
}

bool Server::useKey(coap_context_t& context) {
  coap_dtls_spsk_t setup{};
  setup.version = COAP_DTLS_SPSK_SETUP_VERSION;
  setup.validate_id_call_back = onIdentity;
  setup.id_call_back_arg = this;
  setup.psk_info.key = key_;
  return coap_context_set_psk2(&context, &setup) != 0;
}

// A flood of forged handshakes costs those that are under way, and not all that would come after it.
void Server::onSecureServed() {
  handshakes_.bound();
  if (!handshakes_.isCrowded()) return;
  const XCode result = openSecure();
  if (result.isErr()) log("%s", result.toString().c_str());
}

bool Server::addResources(coap_context_t& context) {
  // The library takes the delay of an answer to the group, and sends the group no errors; the actions are none of its
  // business.
  coap_resource_t* const device = addResource(context, DEVICE_PATH, "\"discovery.device\"",
                                              COAP_RESOURCE_FLAGS_HAS_MCAST_SUPPORT, COAP_REQUEST_GET, onDescribe);
  if (device == nullptr) return false;
  static_cast<void>(coap_add_attr(device, toStatic("ct"), toStatic("50"), 0));
  if (actions_.canBlink() &&
      addResource(context, BLINK_PATH, "\"discovery.blink\"", 0, COAP_REQUEST_POST, onBlink) == nullptr) {
    return false;
  }
  return !settings_.description.supportsOnboarding ||
         addResource(context, ONBOARD_PATH, "\"discovery.onboard\"", 0, COAP_REQUEST_POST, onOnboard) != nullptr;
}

coap_resource_t* Server::addResource(coap_context_t& context, const char* path, const char* type, int flags,
                                     coap_request_t method, coap_method_handler_t handler) {
  coap_resource_t* const resource = coap_resource_init(toStatic(path), flags);
  if (resource == nullptr) return nullptr;
  coap_register_request_handler(resource, method, handler);
  static_cast<void>(coap_add_attr(resource, toStatic("rt"), toStatic(type), 0));
  coap_add_resource(&context, resource);
  return resource;
}

void Server::followInterface() {
  if (settings_.preSharedKey.isSet() && !secure_.isOpen()) static_cast<void>(openSecure());
  const auto index = static_cast<int>(if_nametoindex(settings_.interface.c_str()));
  if (index == interfaceIndex_) return;
  const int before = interfaceIndex_;
  interfaceIndex_ = 0;
  if (before > 0 || !plain_.isOpen()) {
    // A socket keeps its membership on an interface that has gone, and may have twenty of them.
    const XCode result = openPlain();
    if (result.isErr()) log("%s", result.toString().c_str());
  }
  if (index != 0 && plain_.isOpen() &&
      coap_join_mcast_group_intf(plain_.context(), GROUP, settings_.interface.c_str()) == 0) {
    interfaceIndex_ = index;
  }
  if (interfaceIndex_ != before) {
    log("%s %s", interfaceIndex_ != 0 ? "answering on" : "waiting for an address on", settings_.interface.c_str());
  }
  plain_.serve();
  secure_.serve();
}

bool Server::isMine(const coap_session_t& session) const {
  return coap_session_get_ifindex(&session) == interfaceIndex_;
}

bool Server::mayDescribe(const coap_session_t& session) {
  Budget& budget = isSecure(session) ? secureRequests_ : descriptions_;
  return isMine(session) && budget.take(std::chrono::steady_clock::now());
}

bool Server::mayAct(const coap_session_t& session, coap_pdu_t& response) {
  Budget& budget = isSecure(session) ? secureRequests_ : plainActions_;
  if (!isMine(session) || !budget.take(std::chrono::steady_clock::now())) return false;
  if (isSecure(session) || !settings_.preSharedKey.isSet()) return true;
  refused_.log(String::format("%s asks for an action without DTLS", toDottedQuad(session).c_str()));
  coap_pdu_set_code(&response, COAP_RESPONSE_CODE_UNAUTHORIZED);
  return false;
}

// Who holds the key is told of every time; anybody else could fill the log.
void Server::report(RepeatedLine& line, const coap_session_t& session, const char* what, const XCode& result) {
  const String text = String::format("%s %s%s%s", what, toDottedQuad(session).c_str(),
                                     result.isErr() ? " failed: " : "", result.toString().c_str());
  if (isSecure(session)) {
    log("%s", text.c_str());
  } else {
    (result.isErr() ? failed_ : line).log(text);
  }
}

void Server::describe(coap_pdu_t& response) const {
  const std::uint8_t format = JSON_FORMAT;
  coap_pdu_set_code(&response, COAP_RESPONSE_CODE_CONTENT);
  static_cast<void>(coap_add_option(&response, COAP_OPTION_CONTENT_FORMAT, 1, &format));
  static_cast<void>(coap_add_data(&response, json_.length(), toBytes(json_)));
}

Server& Server::of(const coap_session_t& session) {
  return *static_cast<Server*>(coap_get_app_data(coap_session_get_context(&session)));
}

void Server::onDescribe(coap_resource_t*, coap_session_t* session, const coap_pdu_t*, const coap_string_t*,
                        coap_pdu_t* response) {
  Server& server = of(*session);
  if (server.mayDescribe(*session)) server.describe(*response);
}

void Server::onBlink(coap_resource_t*, coap_session_t* session, const coap_pdu_t*, const coap_string_t*,
                     coap_pdu_t* response) {
  Server& server = of(*session);
  if (!server.mayAct(*session, *response)) return;
  const XCode result = server.actions_.blink();
  server.report(server.blinking_, *session, "blinking for", result);
  coap_pdu_set_code(response, result.isErr() ? COAP_RESPONSE_CODE_INTERNAL_ERROR : COAP_RESPONSE_CODE_CHANGED);
}

void Server::onOnboard(coap_resource_t*, coap_session_t* session, const coap_pdu_t* request, const coap_string_t*,
                       coap_pdu_t* response) {
  Server& server = of(*session);
  if (!server.mayAct(*session, *response)) return;
  Organisation organisation;
  XCode result = organisation.fromJson(payloadOf(*request));
  const bool isUsable = result.isSuccess() && mayBeJson(*request);
  if (isUsable) result = server.actions_.onboard(organisation);
  server.report(server.onboarding_, *session, "onboarding by", result);
  coap_pdu_set_code(response, !isUsable        ? COAP_RESPONSE_CODE_BAD_REQUEST
                              : result.isErr() ? COAP_RESPONSE_CODE_INTERNAL_ERROR
                                               : COAP_RESPONSE_CODE_CHANGED);
}

int Server::onEvent(coap_session_t* session, coap_event_t event) {
  if (event == COAP_EVENT_SERVER_SESSION_NEW) coap_session_set_default_leisure(session, LEISURE);
  if (isSecure(*session)) of(*session).handshakes_.onEvent(*session, event);
  return 0;
}

const coap_bin_const_t* Server::onIdentity(coap_bin_const_t* identity, coap_session_t*, void* argument) {
  const Server& server = *static_cast<const Server*>(argument);
  const bool isKnown = toText(identity->s, identity->length) == server.settings_.preSharedKey.identity.view();
  return isKnown ? &server.key_ : nullptr;
}

}  // namespace DeviceDiscovery::Responder
