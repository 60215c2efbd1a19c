// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/XCode.h"
#include "tools/protocol/Organisation.h"

namespace DeviceDiscovery::Responder {

// The file with the organisation's key and server, a line each, that nobody but its owner ever can read. It always
// holds all of one or the other, also after a loss of power.
class KeyStore {
 public:
  explicit KeyStore(const String& directory) : directory_(directory) {}

  // What is stored already is not written again: flash wears, and anybody may send the same key for ever.
  [[nodiscard]] XCode store(const Organisation& organisation) const;

 private:
  const String directory_;
};

}  // namespace DeviceDiscovery::Responder
