// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/String.h"
#include "platform/base/XCode.h"

namespace DeviceDiscovery {

// What both sides of DTLS with a pre-shared key must have in common.
struct PreSharedKey {
  String identity;
  String key;

  bool isSet() const { return !key.isEmpty(); }
};

// Reads a file of one line, identity:key, where the key is all after the first colon. It has at least 16 bytes, since a
// shorter one could be guessed from one recorded handshake. A file that others than its owner can read is refused.
[[nodiscard]] XCode readPskFile(const String& path, PreSharedKey& preSharedKey);

// The same, but a file that is not there leaves the key unset.
[[nodiscard]] XCode readPskFileIfAny(const String& path, PreSharedKey& preSharedKey);

}  // namespace DeviceDiscovery
