// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/base/String.h"

namespace KX::Property {

// Gives equal short strings of a document one buffer: most keys and many values ("eth0", "up") repeat in every node. A
// string has one place that it can be in, so a look-up costs the same whatever the document holds.
class StringCache {
 public:
  String get(std::string_view text) {
    if (text.empty() || text.size() > LONGEST) return String(text);
    String& slot = slots_[slotOf(text)];
    if (!isSame(slot, text)) slot = String(text);
    return slot;
  }

 private:
  static constexpr std::size_t LONGEST = 32;
  static constexpr unsigned SLOT_BITS = 8;

  template <class Word>
  static std::uint64_t load(const char* text) {
    Word word = 0;
    std::memcpy(&word, text, sizeof(word));
    return word;
  }

  // Most strings are short enough for two words that may overlap.
  static bool isSame(const String& known, std::string_view text) {
    const std::size_t size = text.size();
    if (known.length() != size) return false;
    if (size >= 8 && size <= 16) return isSameAtEnds<std::uint64_t>(known.c_str(), text);
    if (size >= 4 && size < 8) return isSameAtEnds<std::uint32_t>(known.c_str(), text);
    return known == text;
  }
  template <class Word>
  static bool isSameAtEnds(const char* known, std::string_view text) {
    const std::size_t last = text.size() - sizeof(Word);
    return load<Word>(known) == load<Word>(text.data()) && load<Word>(known + last) == load<Word>(text.data() + last);
  }

  // From the first and the last bytes.
  static std::size_t slotOf(std::string_view text) {
    const char* start = text.data();
    const char* end = start + text.size();
    std::uint64_t hash = text.size();
    if (text.size() >= 8) {
      hash ^= load<std::uint64_t>(start) ^ load<std::uint64_t>(end - 8) * 31;
    } else if (text.size() >= 4) {
      hash ^= load<std::uint32_t>(start) << 8U ^ load<std::uint32_t>(end - 4) << 32U;
    } else {
      hash ^= load<std::uint8_t>(start) << 8U ^ load<std::uint8_t>(start + text.size() / 2) << 16U ^
              load<std::uint8_t>(end - 1) << 24U;
    }
    return static_cast<std::size_t>((hash * 0x9e3779b97f4a7c15U) >> (64U - SLOT_BITS));
  }

  String slots_[1U << SLOT_BITS];
};

}  // namespace KX::Property
