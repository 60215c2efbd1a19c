// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

// What the process holds of the heap, counted in its own malloc: the blocks as the allocator makes them, headers
// included. Counting is off until it is begun; frees of older blocks count too, so a difference is what matters.
class Allocations {
 public:
  // From here on; the peak starts at zero.
  static void begin();
  static void end();
  static std::ptrdiff_t now();
  static std::ptrdiff_t peak();
};
