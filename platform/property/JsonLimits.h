// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <limits>

namespace KX::Property {

// What a JSON text may cost its reader; past a limit it is a parse error.
struct JsonLimits {
  std::size_t bytes = std::numeric_limits<std::size_t>::max();
  // The outermost value is level 1. The reader's stack is as deep as the text, so no limit reaches beyond this one.
  static constexpr unsigned MOST_DEPTH = 256;
  unsigned depth = 64;
  std::size_t values = 4000000;
};

}  // namespace KX::Property
