// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/base/Export.h"

namespace KX {

// The hash behind the indexes of large objects and of long chains in string tables: SipHash-1-3 under a key that the
// kernel chose for this process. Keys come from the network, and without the secret nobody can send a million that
// share a slot.
KX_EXPORT std::uint64_t keyHash(std::string_view key);

}  // namespace KX
