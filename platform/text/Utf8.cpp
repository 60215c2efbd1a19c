// SPDX-License-Identifier: Apache-2.0
#include "platform/text/Utf8.h"

#include <cstdint>
#include <cstring>

namespace {

unsigned char byteAt(std::string_view text, std::size_t index) { return static_cast<unsigned char>(text[index]); }

// What a character's first byte asks of the rest. The second byte's range is what keeps out overlong forms, surrogates
// and all above U+10FFFF.
struct Lead {
  unsigned length;  // 0: no character starts with this byte
  unsigned char secondFrom;
  unsigned char secondTo;
};

Lead leadOf(unsigned char first) {
  if (first < 0x80) return {1, 0, 0};
  if (first < 0xc2 || first > 0xf4) return {0, 0, 0};
  if (first < 0xe0) return {2, 0x80, 0xbf};
  if (first < 0xf0) {
    return {3, static_cast<unsigned char>(first == 0xe0 ? 0xa0 : 0x80),
            static_cast<unsigned char>(first == 0xed ? 0x9f : 0xbf)};
  }
  return {4, static_cast<unsigned char>(first == 0xf0 ? 0x90 : 0x80),
          static_cast<unsigned char>(first == 0xf4 ? 0x8f : 0xbf)};
}

// How many bytes of plain ASCII the text starts with, in whole words.
std::size_t asciiWords(std::string_view text) {
  constexpr std::uint64_t HIGH_BITS = 0x8080808080808080U;
  std::size_t length = 0;
  std::uint64_t word = 0;
  while (text.size() - length >= sizeof(word)) {
    std::memcpy(&word, text.data() + length, sizeof(word));
    if ((word & HIGH_BITS) != 0) break;
    length += sizeof(word);
  }
  return length;
}

}  // namespace

Utf8Step nextUtf8(std::string_view text) {
  const Lead lead = leadOf(byteAt(text, 0));
  if (lead.length <= 1) return {1, lead.length == 1};
  if (text.size() < 2 || byteAt(text, 1) < lead.secondFrom || byteAt(text, 1) > lead.secondTo) return {1, false};
  for (unsigned i = 2; i < lead.length; ++i) {
    if (i >= text.size() || (byteAt(text, i) & 0xc0U) != 0x80) return {i, false};
  }
  return {lead.length, true};
}

char32_t decodeUtf8(std::string_view text) {
  const Utf8Step step = nextUtf8(text);
  if (!step.valid) return U'\xfffd';
  if (step.length == 1) return byteAt(text, 0);
  char32_t character = byteAt(text, 0) & (0x7fU >> step.length);
  for (unsigned i = 1; i < step.length; ++i) character = (character << 6U) | (byteAt(text, i) & 0x3fU);
  return character;
}

std::size_t validUtf8Prefix(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size()) {
    if (byteAt(text, length) < 0x80) {
      const std::size_t words = asciiWords(text.substr(length));
      length += words == 0 ? 1 : words;
      continue;
    }
    const Utf8Step step = nextUtf8(text.substr(length));
    if (!step.valid) break;
    length += step.length;
  }
  return length;
}

bool isValidUtf8(std::string_view text) { return validUtf8Prefix(text) == text.size(); }

String toValidUtf8(std::string_view text) {
  String result;
  for (;;) {
    const std::size_t valid = validUtf8Prefix(text);
    result.append(text.substr(0, valid));
    text.remove_prefix(valid);
    if (text.empty()) return result;
    result.append(UTF8_REPLACEMENT);
    text.remove_prefix(nextUtf8(text).length);
  }
}
