// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>
#include <system_error>

namespace KX {

// The number that the whole text is in decimal digits. None when there is a sign, a blank or anything else, or the type
// is too small.
template <std::unsigned_integral T>
std::optional<T> readDecimal(std::string_view text) {
  T number = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || stop != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace KX
