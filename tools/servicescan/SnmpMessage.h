// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/base/String.h"

namespace ServiceScan {

// What an agent's response says. The texts are empty where it does not know the object.
struct SnmpResponse {
  std::uint32_t requestId;
  String description;  // sysDescr.0, as a model
  String objectId;     // sysObjectID.0, e.g. 1.3.6.1.4.1.8072.3.2.10
};

// Writes a version 2c GET of sysDescr.0 and sysObjectID.0 and returns its length, 0 where it does not fit. The id has
// 31 bits.
std::size_t writeSnmpGet(const String& community, std::uint32_t requestId, std::span<char> message);

// False for anything but a well-formed version 2c response.
bool readSnmpResponse(std::string_view message, SnmpResponse& response);

}  // namespace ServiceScan
