// SPDX-License-Identifier: Apache-2.0
#include "platform/text/Printable.h"

#include "platform/text/Utf8.h"

namespace {

// The length of the control character that the text starts with, or 0. Those from U+0080 to U+009F count: terminals
// obey them as they obey an escape.
std::size_t controlLength(std::string_view text) {
  const auto byte = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  if (byte(0) < 0x20 || byte(0) == 0x7f) return 1;
  return text.size() > 1 && byte(0) == 0xc2 && byte(1) < 0xa0 ? 2 : 0;
}

void appendEscaped(String& result, std::string_view control) {
  const auto last = static_cast<unsigned char>(control.back());
  if (control.size() == 2) {
    result.concatf("\\u%04x", last);
  } else if (last == '\n') {
    result.append("\\n");
  } else if (last == '\r') {
    result.append("\\r");
  } else if (last == '\t') {
    result.append("\\t");
  } else {
    result.concatf("\\x%02x", last);
  }
}

}  // namespace

String toPrintable(std::string_view text) {
  const String valid = toValidUtf8(text);
  String result;
  std::string_view rest = valid;
  std::size_t plain = 0;
  while (plain < rest.size()) {
    const std::size_t length = controlLength(rest.substr(plain));
    if (length == 0) {
      ++plain;
      continue;
    }
    result.append(rest.substr(0, plain));
    appendEscaped(result, rest.substr(plain, length));
    rest.remove_prefix(plain + length);
    plain = 0;
  }
  if (result.isEmpty()) return valid;
  return result.append(rest);
}
