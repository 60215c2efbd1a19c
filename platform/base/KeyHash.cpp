// SPDX-License-Identifier: Apache-2.0
#include "platform/base/KeyHash.h"

#include <sys/auxv.h>

#include <bit>
#include <cstring>

namespace KX {

namespace {

struct Secret {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
  Secret() {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel hands the address of 16 random bytes over as a number.
    const void* random = reinterpret_cast<const void*>(getauxval(AT_RANDOM));
    if (random != nullptr) std::memcpy(this, random, sizeof(*this));
  }
};

struct State {
  std::uint64_t a;
  std::uint64_t b;
  std::uint64_t c;
  std::uint64_t d;

  explicit State(const Secret& secret)
      : a(secret.low ^ 0x736f6d6570736575U),
        b(secret.high ^ 0x646f72616e646f6dU),
        c(secret.low ^ 0x6c7967656e657261U),
        d(secret.high ^ 0x7465646279746573U) {}

  void round() {
    a += b;
    b = std::rotl(b, 13) ^ a;
    a = std::rotl(a, 32);
    c += d;
    d = std::rotl(d, 16) ^ c;
    a += d;
    d = std::rotl(d, 21) ^ a;
    c += b;
    b = std::rotl(b, 17) ^ c;
    c = std::rotl(c, 32);
  }

  void take(std::uint64_t word) {
    d ^= word;
    round();
    a ^= word;
  }
};

}  // namespace

std::uint64_t keyHash(std::string_view key) {
  static const Secret SECRET;
  State state(SECRET);
  std::uint64_t word = 0;
  const auto length = static_cast<std::uint64_t>(key.size());
  for (; key.size() >= sizeof(word); key.remove_prefix(sizeof(word))) {
    std::memcpy(&word, key.data(), sizeof(word));
    state.take(word);
  }
  word = 0;
  if (!key.empty()) std::memcpy(&word, key.data(), key.size());
  state.take(word | length << 56U);
  state.c ^= 0xffU;
  for (int i = 0; i < 3; ++i) state.round();
  return state.a ^ state.b ^ state.c ^ state.d;
}

}  // namespace KX
