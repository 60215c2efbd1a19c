// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "tools/protocol/Coap.h"

namespace DeviceDiscovery::Responder {

// The DTLS handshakes that have begun and not ended, oldest first. One with a wrong key never ends by itself, so nobody
// may have many of them: whoever holds the key must find room for one more.
class Handshakes {
 public:
  // Those of one address, whose owner has shown that it receives there. What comes beyond takes the place of the
  // oldest.
  static constexpr std::size_t MAX_OF_A_SOURCE = 8;
  // Those whose address may be forged: the client has not repeated its cookie yet.
  static constexpr std::size_t MAX_UNPROVEN = 256;
  // The same while others are under way.
  static constexpr std::size_t MOST_UNPROVEN = 768;

  // To be called for each event of the context.
  void onEvent(coap_session_t& session, coap_event_t event);
  void clear() { sessions_.clear(); }

  // Ends what is beyond MAX_OF_A_SOURCE. Not from inside of the library, which may be at work on one of them.
  void bound();
  // Whether there are more unproven ones than may be. The library keeps those for half a minute, and ends them only
  // with the context.
  bool isCrowded() const;

 private:
  std::vector<coap_session_t*> sessions_;
};

}  // namespace DeviceDiscovery::Responder
