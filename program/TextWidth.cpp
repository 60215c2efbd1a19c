// SPDX-License-Identifier: Apache-2.0
#include "program/TextWidth.h"

#include <clocale>
#include <cwchar>

#include "platform/text/Utf8.h"

namespace {

constexpr std::string_view ELLIPSIS = "\xe2\x80\xa6";

// The C library knows the widths, but only of its locale's characters; the program itself stays in the plain one.
// Without that locale every character counts as one column.
std::size_t characterWidth(std::string_view character) {
  static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (character.size() == 1 || utf8 == nullptr) return 1;
  const locale_t before = uselocale(utf8);
  std::mbstate_t state{};
  wchar_t wide = 0;
  const std::size_t length = std::mbrtowc(&wide, character.data(), character.size(), &state);
  const int width = length == character.size() ? wcwidth(wide) : 1;
  uselocale(before);
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

// How many bytes of the text take at most that many columns.
std::size_t bytesWithin(std::string_view text, std::size_t width) {
  std::size_t bytes = 0;
  while (bytes < text.size()) {
    const std::string_view character = text.substr(bytes, nextUtf8(text.substr(bytes)).length);
    const std::size_t columns = characterWidth(character);
    if (columns > width) break;
    width -= columns;
    bytes += character.size();
  }
  return bytes;
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const std::string_view character = text.substr(0, nextUtf8(text).length);
    width += characterWidth(character);
    text.remove_prefix(character.size());
  }
  return width;
}

String fitToWidth(const String& text, std::size_t width) {
  if (bytesWithin(text, width) == text.length()) return text;
  if (width == 0) return String();
  return String(text.view().substr(0, bytesWithin(text, width - 1))).append(ELLIPSIS);
}
