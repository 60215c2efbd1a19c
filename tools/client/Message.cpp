// SPDX-License-Identifier: Apache-2.0
#include "tools/client/Message.h"

#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery::Client {
namespace {

constexpr unsigned VERSION = 1;

std::string composeHeader(unsigned type, std::size_t tokenLength, unsigned code, std::uint16_t messageId) {
  return {static_cast<char>(VERSION << 6U | type << 4U | tokenLength), static_cast<char>(code),
          static_cast<char>(messageId >> 8U), static_cast<char>(messageId & 0xffU)};
}

}  // namespace

std::string composeQuestion(std::uint16_t messageId, std::string_view token) {
  std::string message = composeHeader(COAP_MESSAGE_NON, token.size(), COAP_REQUEST_CODE_GET, messageId);
  message += token;
  constexpr std::string_view PATH = DEVICE_PATH;
  std::uint8_t option[PATH.size() + 8];
  const std::size_t length = coap_opt_encode(option, sizeof(option), COAP_OPTION_URI_PATH, toBytes(PATH), PATH.size());
  return message.append(toText(option, length));
}

std::string composePing(std::uint16_t messageId) {
  return composeHeader(COAP_MESSAGE_CON, 0, COAP_EMPTY_CODE, messageId);
}

AnswerReader::AnswerReader(std::string_view token)
    : token_(token), message_(coap_pdu_init(COAP_MESSAGE_NON, COAP_EMPTY_CODE, 0, MAX_MESSAGE_BYTES)) {
  startCoap();
}

bool AnswerReader::read(std::string_view datagram, Description& description) {
  if (message_ == nullptr || datagram.size() > MAX_MESSAGE_BYTES) return false;
  if (coap_pdu_parse(COAP_PROTO_UDP, toBytes(datagram), datagram.size(), message_.get()) == 0) return false;
  const coap_bin_const_t token = coap_pdu_get_token(message_.get());
  const coap_pdu_type_t type = coap_pdu_get_type(message_.get());
  return toText(token.s, token.length) == token_ && (type == COAP_MESSAGE_NON || type == COAP_MESSAGE_CON) &&
         coap_pdu_get_code(message_.get()) == COAP_RESPONSE_CODE_CONTENT && mayBeJson(*message_) &&
         description.fromJson(payloadOf(*message_));
}

std::string AnswerReader::acknowledgement() const {
  if (coap_pdu_get_type(message_.get()) != COAP_MESSAGE_CON) return {};
  const auto messageId = static_cast<std::uint16_t>(coap_pdu_get_mid(message_.get()));
  return composeHeader(COAP_MESSAGE_ACK, 0, COAP_EMPTY_CODE, messageId);
}

}  // namespace DeviceDiscovery::Client
