// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/protocol/Coap.h"
#include "tools/protocol/Description.h"

namespace DeviceDiscovery::Client {

// The question that goes to the group, for what every device says of itself; not to be confirmed.
std::string composeQuestion(std::uint16_t messageId, std::string_view token);
// A message without contents that any CoAP node answers.
std::string composePing(std::uint16_t messageId);

// Reads answers to one question out of datagrams.
class AnswerReader {
 public:
  explicit AnswerReader(std::string_view token);

  // False when it is no answer to this question, or says nothing of a device.
  bool read(std::string_view datagram, Description& description);
  // What a device that wants its last answer confirmed is to be sent; empty for the others.
  std::string acknowledgement() const;

 private:
  const std::string token_;
  const CoapMessage message_;
};

}  // namespace DeviceDiscovery::Client
