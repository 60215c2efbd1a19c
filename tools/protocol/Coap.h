// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <coap3/coap.h>

#include <cstdint>
#include <memory>
#include <string_view>

// libcoap in the terms of this code: what it hands out is owned, and bytes are text.
namespace DeviceDiscovery {

struct CoapRelease {
  void operator()(coap_context_t* context) const { coap_free_context(context); }
  void operator()(coap_session_t* session) const { coap_session_release(session); }
  void operator()(coap_pdu_t* message) const { coap_delete_pdu(message); }
};
using CoapContext = std::unique_ptr<coap_context_t, CoapRelease>;
using CoapSession = std::unique_ptr<coap_session_t, CoapRelease>;
using CoapMessage = std::unique_ptr<coap_pdu_t, CoapRelease>;

inline const std::uint8_t* toBytes(std::string_view text) { return reinterpret_cast<const std::uint8_t*>(text.data()); }
inline std::string_view toText(const std::uint8_t* bytes, std::size_t length) {
  return {reinterpret_cast<const char*>(bytes), length};
}
inline coap_bin_const_t toBinary(std::string_view text) { return {text.size(), toBytes(text)}; }

// An IPv4 address in host byte order with a port.
coap_address_t toCoapAddress(std::uint32_t address, std::uint16_t port);

// The message's payload; empty when it has none.
std::string_view payloadOf(const coap_pdu_t& message);
// Whether the payload is JSON by its content format, or has none.
bool mayBeJson(const coap_pdu_t& message);

// Prepares the library. It stays silent: what it has to say of a message could hold a secret of it.
void startCoap();

}  // namespace DeviceDiscovery
