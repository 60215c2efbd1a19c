// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace KX::Property {

// Finds where a JSON string needs more than copying: at a quotation mark, a backslash or a control character, and with
// ASCII_ONLY at a byte beyond ASCII, too. Gives the end when nothing does. Reader and writer pass most of a document
// through this, so it looks at a word at a time.
template <bool ASCII_ONLY>
const char* skipPlainText(const char* text, const char* end) {
  using Word = std::size_t;
  constexpr Word ONES = std::numeric_limits<Word>::max() / 0xff;
  constexpr Word HIGH_BITS = ONES * 0x80;
  Word word = 0;
  while (static_cast<std::size_t>(end - text) >= sizeof(word)) {
    std::memcpy(&word, text, sizeof(word));
    // Where the text has the character a byte becomes zero, and subtracting one borrows into its high bit; so does what
    // is below a blank. Beyond ASCII that bit says nothing.
    const Word quotes = (word ^ (ONES * '"')) - ONES;
    const Word backslashes = (word ^ (ONES * '\\')) - ONES;
    const Word controls = word - ONES * 0x20;
    const Word marked = quotes | backslashes | controls;
    const Word found = (ASCII_ONLY ? marked | word : marked & ~word) & HIGH_BITS;
    if (found == 0) {
      text += sizeof(word);
    } else if constexpr (std::endian::native == std::endian::little) {
      // A borrow can mark bytes wrongly, but only behind the first right one.
      return text + std::countr_zero(found) / 8;
    } else {
      break;
    }
  }
  const auto isPlain = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && c != '"' && c != '\\' && !(ASCII_ONLY && byte >= 0x80);
  };
  while (text != end && isPlain(*text)) ++text;
  return text;
}

// Copies the text up to where it is not plain ASCII, which is given back; `to` moves behind the copy. Most strings are
// shorter than it takes to call memcpy.
inline const char* copyPlainText(const char* text, const char* end, char*& to) {
  const char* const plainEnd = skipPlainText<true>(text, end);
  const auto size = static_cast<std::size_t>(plainEnd - text);
  constexpr std::size_t WORD = sizeof(std::uint64_t);
  if (size >= WORD && size <= 4 * WORD) {
    // The last word overlaps the one before it.
    for (std::size_t i = 0; i + WORD < size; i += WORD) std::memcpy(to + i, text + i, WORD);
    std::memcpy(to + size - WORD, plainEnd - WORD, WORD);
  } else if (size < WORD) {
    for (std::size_t i = 0; i < size; ++i) to[i] = text[i];
  } else {
    std::memcpy(to, text, size);
  }
  to += size;
  return plainEnd;
}

}  // namespace KX::Property
