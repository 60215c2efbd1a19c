// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/Model.h"

#include <string>

#include "platform/text/Utf8.h"

namespace ServiceScan {
namespace {

bool isControl(std::string_view character) {
  const auto first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return first < 0x20 || first == 0x7f;
  return character.size() == 2 && first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0;
}

}  // namespace

String makeModel(std::string_view text) {
  std::string model;
  std::size_t withoutBlanks = 0;
  while (!text.empty()) {
    const Utf8Step step = nextUtf8(text);
    std::string_view character = step.valid ? text.substr(0, step.length) : UTF8_REPLACEMENT;
    text.remove_prefix(step.length);
    if (isControl(character)) character = " ";
    if (model.empty() && character == " ") continue;
    if (model.size() + character.size() > MAX_MODEL_BYTES) break;
    model += character;
    if (character != " ") withoutBlanks = model.size();
  }
  return String(std::string_view(model).substr(0, withoutBlanks));
}

}  // namespace ServiceScan
