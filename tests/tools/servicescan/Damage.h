// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <string_view>

namespace ServiceScan {

using Reader = std::function<void(std::string_view)>;

// Reads a text from memory of exactly its size, where valgrind and the sanitizers see a step too far.
inline void readExactly(std::string_view text, const Reader& read) {
  const auto memory = std::make_unique<char[]>(text.size());
  text.copy(memory.get(), text.size());
  read({memory.get(), text.size()});
}

// Reads every beginning of the message, the message with each of its bytes changed, and as many random mutations of
// several bytes, always the same ones.
inline void readDamaged(std::string_view message, int mutations, const Reader& read) {
  for (std::size_t length = 0; length < message.size(); ++length) readExactly(message.substr(0, length), read);
  for (std::size_t index = 0; index < message.size(); ++index) {
    std::string changed(message);
    for (const int bits : {0x01, 0x20, 0x80, 0xff}) {
      changed[index] = static_cast<char>(message[index] ^ bits);
      readExactly(changed, read);
    }
  }
  std::mt19937 random(20260101);
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  for (int round = 0; round < mutations; ++round) {
    std::string changed(message);
    for (std::size_t steps = 1 + below(8); steps > 0 && !changed.empty(); --steps) {
      const std::size_t at = below(changed.size());
      switch (below(4)) {
        case 0:
          changed[at] = static_cast<char>(below(256));
          break;
        case 1:
          changed.erase(at, 1 + below(8));
          break;
        case 2:
          changed.insert(at, 1 + below(8), static_cast<char>(below(256)));
          break;
        default:
          changed.insert(at, changed.substr(below(changed.size()), 1 + below(32)));
          break;
      }
    }
    readExactly(changed, read);
  }
}

}  // namespace ServiceScan
