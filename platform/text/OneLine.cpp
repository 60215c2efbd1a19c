// SPDX-License-Identifier: Apache-2.0
#include "platform/text/OneLine.h"

#include <string>

#include "platform/text/Utf8.h"

namespace {

bool isControl(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return first < 0x20 || first == 0x7f;
  return character.size() == 2 && first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0;
}

}  // namespace

String toOneLine(std::string_view text, std::size_t maximumBytes) {
  std::string line;
  std::size_t withoutBlanks = 0;
  while (!text.empty()) {
    const Utf8Step step = nextUtf8(text);
    std::string_view character = step.valid ? text.substr(0, step.length) : UTF8_REPLACEMENT;
    text.remove_prefix(step.length);
    if (isControl(character)) character = " ";
    if (line.empty() && character == " ") continue;
    if (line.size() + character.size() > maximumBytes) break;
    line += character;
    if (character != " ") withoutBlanks = line.size();
  }
  return String(std::string_view(line).substr(0, withoutBlanks));
}
