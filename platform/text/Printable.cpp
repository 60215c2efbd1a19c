// SPDX-License-Identifier: Apache-2.0
#include "platform/text/Printable.h"

#include "platform/text/Unseen.h"
#include "platform/text/Utf8.h"

namespace {

void appendEscaped(String& result, char32_t character) {
  const auto number = static_cast<unsigned>(character);
  if (character == '\n') {
    result.append("\\n");
  } else if (character == '\r') {
    result.append("\\r");
  } else if (character == '\t') {
    result.append("\\t");
  } else if (number < 0x80) {
    result.concatf("\\x%02x", number);
  } else if (number < 0x10000) {
    result.concatf("\\u%04x", number);
  } else {
    result.concatf("\\U%08x", number);
  }
}

}  // namespace

String toPrintable(std::string_view text) {
  const String valid = toValidUtf8(text);
  String result;
  std::string_view rest = valid;
  std::size_t plain = 0;
  while (plain < rest.size()) {
    const std::string_view from = rest.substr(plain);
    const std::size_t length = nextUtf8(from).length;
    if (!startsWithUnseen(from)) {
      plain += length;
      continue;
    }
    result.append(rest.substr(0, plain));
    appendEscaped(result, decodeUtf8(from));
    rest.remove_prefix(plain + length);
    plain = 0;
  }
  if (result.isEmpty()) return valid;
  return result.append(rest);
}
