// SPDX-License-Identifier: Apache-2.0
#include "platform/text/OneLine.h"

#include <string>

#include "platform/text/Unseen.h"
#include "platform/text/Utf8.h"

String toOneLine(std::string_view text, std::size_t maximumBytes) {
  std::string line;
  std::size_t withoutBlanks = 0;
  while (!text.empty()) {
    const Utf8Step step = nextUtf8(text);
    std::string_view character = step.valid ? text.substr(0, step.length) : UTF8_REPLACEMENT;
    text.remove_prefix(step.length);
    if (startsWithUnseen(character)) character = " ";
    if (line.empty() && character == " ") continue;
    if (line.size() + character.size() > maximumBytes) break;
    line += character;
    if (character != " ") withoutBlanks = line.size();
  }
  return String(std::string_view(line).substr(0, withoutBlanks));
}
