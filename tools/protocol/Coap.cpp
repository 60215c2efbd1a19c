// SPDX-License-Identifier: Apache-2.0
#include "tools/protocol/Coap.h"

#include <arpa/inet.h>

#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery {

coap_address_t toCoapAddress(std::uint32_t address, std::uint16_t port) {
  coap_address_t result;
  coap_address_init(&result);
  result.size = sizeof(sockaddr_in);
  result.addr.sin.sin_family = AF_INET;
  result.addr.sin.sin_addr.s_addr = htonl(address);
  result.addr.sin.sin_port = htons(port);
  return result;
}

std::string_view payloadOf(const coap_pdu_t& message) {
  std::size_t length = 0;
  const std::uint8_t* bytes = nullptr;
  if (coap_get_data(&message, &length, &bytes) == 0) return {};
  return toText(bytes, length);
}

bool mayBeJson(const coap_pdu_t& message) {
  coap_opt_iterator_t iterator;
  const coap_opt_t* const option = coap_check_option(&message, COAP_OPTION_CONTENT_FORMAT, &iterator);
  return option == nullptr || coap_decode_var_bytes(coap_opt_value(option), coap_opt_length(option)) == JSON_FORMAT;
}

void startCoap() {
  coap_startup();
  coap_set_log_level(LOG_EMERG);
  coap_dtls_set_log_level(LOG_EMERG);
}

}  // namespace DeviceDiscovery
