// SPDX-License-Identifier: Apache-2.0
#include "tools/client/Action.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <string_view>

#include "tools/protocol/Coap.h"
#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery::Client {
namespace {

using std::chrono::ceil;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// On a LAN an answer takes milliseconds: three tries have to fit into the time.
constexpr coap_fixed_point_t ACK_TIMEOUT{1, 0};

const char* describe(coap_nack_reason_t reason) {
  switch (reason) {
    case COAP_NACK_RST:
      return "the device rejects the request";
    case COAP_NACK_TLS_FAILED:
      return "the DTLS handshake failed";
    case COAP_NACK_TOO_MANY_RETRIES:
      return "no answer";
    default:
      return "the device cannot be reached, or nothing listens there";
  }
}

const char* describe(coap_pdu_code_t code) {
  switch (static_cast<int>(code)) {
    case COAP_RESPONSE_CODE_BAD_REQUEST:
      return "it finds the request unusable";
    case COAP_RESPONSE_CODE_UNAUTHORIZED:
      return "it asks for DTLS with a pre-shared key";
    case COAP_RESPONSE_CODE_NOT_FOUND:
    case COAP_RESPONSE_CODE_NOT_IMPLEMENTED:
      return "it does not support that";
    default:
      return "it failed";
  }
}

// One exchange with one device.
class Exchange {
 public:
  explicit Exchange(const Action& action) : action_(action) {}

  XCode run() {
    if (!open() || !send()) return XCode::error("cannot ask the device"_s);
    const auto end = steady_clock::now() + milliseconds(action_.timeoutMs);
    while (!result_) {
      const auto rest = ceil<milliseconds>(end - steady_clock::now()).count();
      if (rest <= 0) return XCode::error(describeSilence());
      if (coap_io_process(context_.get(), static_cast<std::uint32_t>(rest)) < 0) break;
    }
    return result_.value_or(XCode::error("cannot ask the device"_s));
  }

 private:
  const char* describeSilence() const {
    return action_.preSharedKey.isSet() && !isConnected_
               ? "no answer over DTLS: the device is silent, or its pre-shared key is another one"
               : "no answer";
  }

  bool open() {
    context_.reset(coap_new_context(nullptr));
    if (context_ == nullptr) return false;
    coap_set_app_data(context_.get(), this);
    coap_register_response_handler(context_.get(), onResponse);
    coap_register_nack_handler(context_.get(), onNack);
    coap_register_event_handler(context_.get(), onEvent);
    const bool isSecure = action_.preSharedKey.isSet();
    const coap_address_t address = toCoapAddress(action_.device, isSecure ? SECURE_PORT : PORT);
    session_.reset(isSecure ? openSecure(address)
                            : coap_new_client_session(context_.get(), nullptr, &address, COAP_PROTO_UDP));
    if (session_ != nullptr) coap_session_set_ack_timeout(session_.get(), ACK_TIMEOUT);
    return session_ != nullptr;
  }

  coap_session_t* openSecure(const coap_address_t& address) {
    coap_dtls_cpsk_t setup{};
    setup.version = COAP_DTLS_CPSK_SETUP_VERSION;
    setup.psk_info = {toBinary(action_.preSharedKey.identity), toBinary(action_.preSharedKey.key)};
    return coap_new_client_session_psk2(context_.get(), nullptr, &address, COAP_PROTO_DTLS, &setup);
  }

  bool send() {
    CoapMessage message(coap_new_pdu(COAP_MESSAGE_CON, COAP_REQUEST_CODE_POST, session_.get()));
    return message != nullptr && fill(*message) && coap_send(session_.get(), message.release()) != COAP_INVALID_MID;
  }

  bool fill(coap_pdu_t& message) {
    std::array<std::uint8_t, 8> token{};
    std::size_t length = token.size();
    coap_session_new_token(session_.get(), &length, token.data());
    bool isFilled = coap_add_token(&message, length, token.data()) != 0;
    for (std::string_view path = action_.path; !path.empty();) {
      const std::string_view segment = path.substr(0, path.find('/'));
      isFilled = coap_add_option(&message, COAP_OPTION_URI_PATH, segment.size(), toBytes(segment)) != 0 && isFilled;
      path.remove_prefix(std::min(segment.size() + 1, path.size()));
    }
    if (action_.payload.isEmpty()) return isFilled;
    const std::uint8_t format = JSON_FORMAT;
    return isFilled && coap_add_option(&message, COAP_OPTION_CONTENT_FORMAT, 1, &format) != 0 &&
           coap_add_data(&message, action_.payload.length(), toBytes(action_.payload)) != 0;
  }

  void end(const XCode& result) {
    if (!result_) result_ = result;
  }

  static Exchange& of(const coap_session_t& session) {
    return *static_cast<Exchange*>(coap_get_app_data(coap_session_get_context(&session)));
  }

  static coap_response_t onResponse(coap_session_t* session, const coap_pdu_t*, const coap_pdu_t* received,
                                    const coap_mid_t) {
    const coap_pdu_code_t code = coap_pdu_get_code(received);
    const auto number = static_cast<unsigned>(code);
    of(*session).end(COAP_RESPONSE_CLASS(number) == 2
                         ? XCode()
                         : XCode::error(String::format("the device refuses: %s (%u.%02u)", describe(code), number >> 5U,
                                                       number & 0x1fU)));
    return COAP_RESPONSE_OK;
  }

  static void onNack(coap_session_t* session, const coap_pdu_t*, const coap_nack_reason_t reason, const coap_mid_t) {
    of(*session).end(XCode::error(describe(reason)));
  }

  static int onEvent(coap_session_t* session, const coap_event_t event) {
    if (event == COAP_EVENT_DTLS_CONNECTED) of(*session).isConnected_ = true;
    if (event == COAP_EVENT_DTLS_ERROR) of(*session).end(XCode::error(describe(COAP_NACK_TLS_FAILED)));
    return 0;
  }

  const Action& action_;
  std::optional<XCode> result_;
  bool isConnected_ = false;
  CoapContext context_;
  CoapSession session_;
};

}  // namespace

XCode perform(const Action& action) {
  startCoap();
  return Exchange(action).run();
}

}  // namespace DeviceDiscovery::Client
