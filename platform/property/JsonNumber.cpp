// SPDX-License-Identifier: Apache-2.0
#include "platform/property/JsonNumber.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

namespace KX::Property {

namespace {

constexpr const char* INVALID = "Invalid number";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

const char* skipDigits(const char* text, const char* end) { return std::find_if_not(text, end, isDigit); }

// Whether the number, which no double holds, is so because it is small: where its first digit other than 0 stands
// relative to the decimal point decides.
bool isSmall(std::string_view number) {
  const std::size_t mantissaEnd = std::min(number.find_first_of("eE"), number.size());
  const std::size_t point = std::min(number.find('.'), mantissaEnd);
  const std::size_t first = number.find_first_of("123456789");
  std::string_view digits = number.substr(std::min(mantissaEnd + 1, number.size()));
  const bool isNegative = digits.starts_with('-');
  if (isNegative || digits.starts_with('+')) digits.remove_prefix(1);
  std::int64_t exponent = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
  if (result.ec == std::errc::result_out_of_range) return isNegative;
  exponent = std::min(exponent, std::int64_t{1} << 60U);
  const auto magnitude = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);
  return magnitude + (isNegative ? -exponent : exponent) < 0;
}

}  // namespace

JsonNumber::JsonNumber(const char* text, const char* textEnd) {
  const char* const digits = text + (*text == '-' ? 1 : 0);
  end = skipDigits(digits, textEnd);
  bool isWellFormed = end != digits && (*digits != '0' || end == digits + 1);
  bool isInteger = true;
  const auto readPart = [&](const char* start) {
    end = skipDigits(start, textEnd);
    isWellFormed = isWellFormed && end != start;
    isInteger = false;
  };
  if (end != textEnd && *end == '.') readPart(end + 1);
  if (end != textEnd && (*end == 'e' || *end == 'E')) {
    const char* start = end + 1;
    if (start != textEnd && (*start == '+' || *start == '-')) ++start;
    readPart(start);
  }
  // Nothing that could go on with a number may follow.
  if (!isWellFormed || (end != textEnd && std::string_view(".eE+-").find(*end) != std::string_view::npos)) {
    error = INVALID;
  } else if (isInteger) {
    readInteger(text);
  } else {
    readDouble(text);
  }
}

void JsonNumber::readInteger(const char* text) {
  std::int64_t integer = 0;
  std::uint64_t natural = 0;
  if (std::from_chars(text, end, integer).ec == std::errc() && (integer != 0 || *text != '-')) {
    value = integer;
  } else if (*text != '-' && std::from_chars(text, end, natural).ec == std::errc()) {
    value = natural;
  } else {
    readDouble(text);
  }
}

void JsonNumber::readDouble(const char* text) {
  double number = 0;
  if (std::from_chars(text, end, number).ec == std::errc()) {
    value = number;
  } else if (isSmall({text, static_cast<std::size_t>(end - text)})) {
    value = *text == '-' ? -0.0 : 0.0;
  } else {
    error = "Number too large for a double";
  }
}

}  // namespace KX::Property
