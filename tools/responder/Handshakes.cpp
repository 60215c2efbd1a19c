// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/Handshakes.h"

#include <algorithm>
#include <map>

namespace DeviceDiscovery::Responder {
namespace {

bool isUnproven(const coap_session_t* session) { return coap_session_get_type(session) == COAP_SESSION_TYPE_HELLO; }

// The library has no call for it; a session that it takes for a client's ends with the last reference.
bool end(coap_session_t* session) {
  if (coap_session_set_type_client(session) == 0) return false;
  coap_session_release(session);
  return true;
}

}  // namespace

void Handshakes::onEvent(coap_session_t& session, coap_event_t event) {
  if (event == COAP_EVENT_SERVER_SESSION_NEW) {
    sessions_.push_back(&session);
  } else if (event == COAP_EVENT_DTLS_CONNECTED || event == COAP_EVENT_SERVER_SESSION_DEL) {
    std::erase(sessions_, &session);
  }
}

void Handshakes::bound() {
  std::map<in_addr_t, std::size_t> counts;
  const auto isBeyond = [&](coap_session_t* session) {
    if (isUnproven(session)) return false;
    return ++counts[coap_session_get_addr_remote(session)->addr.sin.sin_addr.s_addr] > MAX_OF_A_SOURCE && end(session);
  };
  // From the latest to the oldest.
  const auto kept = std::remove_if(sessions_.rbegin(), sessions_.rend(), isBeyond);
  sessions_.erase(sessions_.begin(), kept.base());
}

// A client that is at work is waited for, though not for ever.
bool Handshakes::isCrowded() const {
  const auto unproven = static_cast<std::size_t>(std::count_if(sessions_.begin(), sessions_.end(), isUnproven));
  return unproven > (unproven == sessions_.size() ? MAX_UNPROVEN : MOST_UNPROVEN);
}

}  // namespace DeviceDiscovery::Responder
