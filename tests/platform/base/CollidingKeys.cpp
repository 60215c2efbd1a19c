// SPDX-License-Identifier: Apache-2.0
#include "tests/platform/base/CollidingKeys.h"

#include <bit>
#include <cstdint>
#include <random>
#include <set>
#include <string>

namespace KX::Testing {
namespace {

constexpr unsigned BITS_OF_A_DIGIT = 3;

// The pattern, some bits of its digits turned: those of the first digit are the lowest ones.
std::string withBits(std::string_view pattern, std::uint64_t bits) {
  std::string key(pattern);
  for (char& c : key) {
    if (c != '0') continue;
    c = static_cast<char>('0' + bits % (1U << BITS_OF_A_DIGIT));
    bits >>= BITS_OF_A_DIGIT;
  }
  return key;
}

unsigned countBits(std::string_view pattern) {
  unsigned digits = 0;
  for (const char c : pattern) digits += c == '0' ? 1U : 0U;
  return digits * BITS_OF_A_DIGIT;
}

// The hash is linear: which bits change it, and how, does not depend on the others. So the sets of bits that leave it
// as it is are those that Gauss's elimination finds; all others come of them by exclusive or.
std::vector<std::uint64_t> findNeutralSets(std::string_view pattern) {
  struct Row {
    std::uint32_t change;
    std::uint64_t bits;
  };
  std::vector<Row> pivots;
  std::vector<std::uint64_t> neutral;
  for (unsigned bit = 0; bit < countBits(pattern); ++bit) {
    const std::uint64_t bits = std::uint64_t{1} << bit;
    Row row{kxHash(withBits(pattern, bits)) ^ kxHash(pattern), bits};
    for (const Row& pivot : pivots) {
      if ((row.change & std::bit_floor(pivot.change)) == 0) continue;
      row.change ^= pivot.change;
      row.bits ^= pivot.bits;
    }
    if (row.change == 0) {
      neutral.push_back(row.bits);
    } else {
      pivots.push_back(row);
    }
  }
  return neutral;
}

}  // namespace

std::vector<String> collidingKeys(std::string_view pattern, std::size_t count) {
  const std::vector<std::uint64_t> neutral = findNeutralSets(pattern);
  std::vector<String> keys;
  for (std::uint64_t choice = 0; keys.size() < count && choice >> neutral.size() == 0; ++choice) {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < neutral.size(); ++i) bits ^= (choice >> i & 1U) != 0 ? neutral[i] : 0;
    keys.emplace_back(withBits(pattern, bits));
  }
  return keys;
}

std::vector<String> randomKeys(std::string_view pattern, std::size_t count) {
  std::mt19937_64 random(20'261'122);
  std::set<std::string> seen;
  std::vector<String> keys;
  while (keys.size() < count) {
    const std::string key = withBits(pattern, random());
    if (seen.insert(key).second) keys.emplace_back(key);
  }
  return keys;
}

}  // namespace KX::Testing
