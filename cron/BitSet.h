// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace ccronexpr {

// A field's members, value n as bit n. No field has more than 60 values, so one word holds it.
using BitSet = std::uint64_t;

inline constexpr unsigned kNone = 64;

constexpr BitSet bitsBetween(unsigned first, unsigned last) {
  return (~BitSet{0} << first) & (~BitSet{0} >> (63 - last));
}

// The smallest member that is not below `from` (at most 63), or kNone: what std::countr_zero says of an empty set.
inline unsigned firstFrom(BitSet set, unsigned from) {
  return static_cast<unsigned>(std::countr_zero(set & (~BitSet{0} << from)));
}

template <std::size_t size>
BitSet load(const std::uint8_t (&bytes)[size]) {
  BitSet set = 0;
  for (std::size_t i = 0; i < size; ++i) set |= BitSet{bytes[i]} << (8 * i);
  return set;
}

template <std::size_t size>
void store(BitSet set, std::uint8_t (&bytes)[size]) {
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(set >> (8 * i));
}

}  // namespace ccronexpr
