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
// In a second. Whoever asks for more gets none, so that a flood of forged questions costs neither memory nor the LAN.
constexpr unsigned MAX_ANSWERS = 100;
// A session is what the library remembers of a client.
constexpr unsigned MAX_IDLE_SESSIONS = 64;
constexpr unsigned MAX_HANDSHAKES = 16;
constexpr unsigned SESSION_SECONDS = 30;
constexpr coap_fixed_point_t LEISURE{LEISURE_MS / 1000, LEISURE_MS % 1000};

String toDottedQuad(const coap_session_t& session) {
  char text[INET6_ADDRSTRLEN] = "";
  const coap_address_t* const address = coap_session_get_addr_remote(&session);
  static_cast<void>(inet_ntop(AF_INET, &address->addr.sin.sin_addr, text, sizeof(text)));
  return text;
}

coap_str_const_t* toStatic(const char* text) { return coap_make_str_const(text); }

}  // namespace

Server::Server(KXEventLoop& loop, Settings settings, Actions& actions)
    : loop_(loop),
      settings_(std::move(settings)),
      json_(settings_.description.toJson()),
      key_(toBinary(settings_.preSharedKey.key)),
      actions_(actions) {}

XCode Server::open() {
  startCoap();
  XCode result = openContext();
  timer_ = loop_.createTimeoutEvent(0, [this] { followInterface(); });
  timer_->start(FOLLOW_MS, true, true);
  return result;
}

XCode Server::openContext() {
  context_.reset(coap_new_context(nullptr));
  if (context_ == nullptr || !useKey() || !addResources()) return XCode::error("cannot set up CoAP"_s);
  coap_set_app_data(context_.get(), this);
  coap_mcast_per_resource(context_.get());
  coap_context_set_max_idle_sessions(context_.get(), MAX_IDLE_SESSIONS);
  coap_context_set_max_handshake_sessions(context_.get(), MAX_HANDSHAKES);
  coap_context_set_session_timeout(context_.get(), SESSION_SECONDS);
  coap_register_event_handler(context_.get(), onEvent);
  XCode result = openEndpoint(PORT, COAP_PROTO_UDP);
  if (result.isSuccess() && settings_.preSharedKey.isSet()) result = openEndpoint(SECURE_PORT, COAP_PROTO_DTLS);
  if (result.isErr()) return result;
  watch_ = loop_.createDescriptorEvent(coap_context_get_coap_fd(context_.get()), KXEventLoop::READABLE,
                                       [this](unsigned) { coap_io_process(context_.get(), COAP_IO_NO_WAIT); });
  return watch_ != nullptr ? XCode() : XCode::error("cannot watch the CoAP sockets"_s);
}

bool Server::useKey() {
  if (!settings_.preSharedKey.isSet()) return true;
  coap_dtls_spsk_t setup{};
  setup.version = COAP_DTLS_SPSK_SETUP_VERSION;
  setup.validate_id_call_back = onIdentity;
  setup.id_call_back_arg = this;
  setup.psk_info.key = key_;
  return coap_context_set_psk2(context_.get(), &setup) != 0;
}

XCode Server::openEndpoint(std::uint16_t port, coap_proto_t protocol) {
  const coap_address_t address = toCoapAddress(INADDR_ANY, port);
  if (coap_new_endpoint(context_.get(), &address, protocol) != nullptr) return XCode();
  return XCode::error(String::format("cannot listen on UDP port %u", port));
}

bool Server::addResources() {
  // The library takes the delay of an answer to the group, and sends the group no errors; the actions are none of its
  // business.
  coap_resource_t* const device = addResource(DEVICE_PATH, "\"discovery.device\"",
                                              COAP_RESOURCE_FLAGS_HAS_MCAST_SUPPORT, COAP_REQUEST_GET, onDescribe);
  if (device == nullptr) return false;
  static_cast<void>(coap_add_attr(device, toStatic("ct"), toStatic("50"), 0));
  if (actions_.canBlink() && addResource(BLINK_PATH, "\"discovery.blink\"", 0, COAP_REQUEST_POST, onBlink) == nullptr) {
    return false;
  }
  return !settings_.description.supportsOnboarding ||
         addResource(ONBOARD_PATH, "\"discovery.onboard\"", 0, COAP_REQUEST_POST, onOnboard) != nullptr;
}

coap_resource_t* Server::addResource(const char* path, const char* type, int flags, coap_request_t method,
                                     coap_method_handler_t handler) {
  coap_resource_t* const resource = coap_resource_init(toStatic(path), flags);
  if (resource == nullptr) return nullptr;
  coap_register_request_handler(resource, method, handler);
  static_cast<void>(coap_add_attr(resource, toStatic("rt"), toStatic(type), 0));
  coap_add_resource(context_.get(), resource);
  return resource;
}

void Server::followInterface() {
  const auto index = static_cast<int>(if_nametoindex(settings_.interface.c_str()));
  if (index == interfaceIndex_) return;
  const int before = interfaceIndex_;
  interfaceIndex_ = 0;
  if (before > 0 || watch_ == nullptr) reopen();
  if (index != 0 && watch_ != nullptr &&
      coap_join_mcast_group_intf(context_.get(), GROUP, settings_.interface.c_str()) == 0) {
    interfaceIndex_ = index;
  }
  if (interfaceIndex_ != before) {
    log("%s %s", interfaceIndex_ != 0 ? "answering on" : "waiting for an address on", settings_.interface.c_str());
  }
  // What has come to be due meanwhile.
  if (context_ != nullptr) coap_io_process(context_.get(), COAP_IO_NO_WAIT);
}

// A socket keeps its membership on an interface that has gone, and may have twenty of them.
void Server::reopen() {
  watch_.reset();
  const XCode result = openContext();
  if (result.isErr()) log("%s", result.toString().c_str());
}

bool Server::mayAnswer(const coap_session_t& session) {
  const auto now = std::chrono::steady_clock::now();
  if (now - secondBegan_ >= std::chrono::seconds(1)) {
    secondBegan_ = now;
    answersInSecond_ = 0;
  }
  return coap_session_get_ifindex(&session) == interfaceIndex_ && ++answersInSecond_ <= MAX_ANSWERS;
}

bool Server::mayAct(const coap_session_t& session, coap_pdu_t& response) {
  if (!mayAnswer(session)) return false;
  if (!settings_.preSharedKey.isSet() || coap_session_get_proto(&session) == COAP_PROTO_DTLS) return true;
  log("%s asks for an action without DTLS", toDottedQuad(session).c_str());
  coap_pdu_set_code(&response, COAP_RESPONSE_CODE_UNAUTHORIZED);
  return false;
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
  if (server.mayAnswer(*session)) server.describe(*response);
}

void Server::onBlink(coap_resource_t*, coap_session_t* session, const coap_pdu_t*, const coap_string_t*,
                     coap_pdu_t* response) {
  Server& server = of(*session);
  if (!server.mayAct(*session, *response)) return;
  const XCode result = server.actions_.blink();
  log("blinking for %s%s%s", toDottedQuad(*session).c_str(), result.isErr() ? " failed: " : "",
      result.toString().c_str());
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
  log("onboarding by %s%s%s", toDottedQuad(*session).c_str(), result.isErr() ? " failed: " : "",
      result.toString().c_str());
  coap_pdu_set_code(response, !isUsable        ? COAP_RESPONSE_CODE_BAD_REQUEST
                              : result.isErr() ? COAP_RESPONSE_CODE_INTERNAL_ERROR
                                               : COAP_RESPONSE_CODE_CHANGED);
}

int Server::onEvent(coap_session_t* session, coap_event_t event) {
  if (event == COAP_EVENT_SERVER_SESSION_NEW) coap_session_set_default_leisure(session, LEISURE);
  return 0;
}

const coap_bin_const_t* Server::onIdentity(coap_bin_const_t* identity, coap_session_t*, void* argument) {
  const Server& server = *static_cast<const Server*>(argument);
  const bool isKnown = toText(identity->s, identity->length) == server.settings_.preSharedKey.identity.view();
  return isKnown ? &server.key_ : nullptr;
}

}  // namespace DeviceDiscovery::Responder
