// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstddef>
#include <string_view>
#include <system_error>

#include "cron/BitSet.h"
#include "cron/ccronexpr.h"

using namespace ccronexpr;

namespace {

using std::string_view;

// Every function that can fail in a way to be reported returns the error's text, or null.

constexpr std::size_t kFieldCount = 6;
constexpr std::size_t kMaximumLength = 255;
constexpr std::size_t kNameLength = 3;

using Buffer = std::array<char, kMaximumLength>;
using Fields = std::array<string_view, kFieldCount>;

struct FieldRules {
  unsigned minimum;
  unsigned maximum;
  bool isDay = false;      // may be left open with `?`
  string_view names = {};  // three letters each, the first one stands for `minimum`
};

constexpr std::array<FieldRules, kFieldCount> kRules = {{
    {0, 59},
    {0, 59},
    {0, 23},
    {1, 31, true},
    {1, 12, false, "JANFEBMARAPRMAYJUNJULAUGSEPOCTNOVDEC"},
    {0, 7, true, "SUNMONTUEWEDTHUFRISAT"},
}};

struct Range {
  unsigned first = 0;
  unsigned last = 0;
};

// Copies the expression in upper case and without the white space that separates nothing. An expression that is too
// long comes back empty, and so fails like any other without six fields.
string_view normalise(const char* expression, Buffer& buffer) {
  std::size_t size = 0;
  for (std::size_t i = 0; expression[i] != '\0'; ++i) {
    if (i == kMaximumLength) return {};
    const char c = expression[i];
    const bool dropped = c >= '\t' && c <= '\r';
    if (!dropped) buffer[size++] = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return {buffer.data(), size};
}

// Takes the next piece that is not empty off the front of `rest`; returns an empty one when none is left.
string_view takePiece(string_view& rest, char separator) {
  rest.remove_prefix(std::min(rest.find_first_not_of(separator), rest.size()));
  const string_view piece(rest.data(), std::min(rest.find(separator), rest.size()));
  rest.remove_prefix(piece.size());
  return piece;
}

template <std::size_t count>
bool splitExactly(string_view text, char separator, std::array<string_view, count>& pieces) {
  for (string_view& piece : pieces) piece = takePiece(text, separator);
  return !pieces.back().empty() && takePiece(text, separator).empty();
}

bool parseNumber(string_view text, unsigned& number) {
  if (text.starts_with('+')) text.remove_prefix(1);
  const char* const end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, number);
  return result.ec == std::errc{} && result.ptr == end && number <= INT_MAX;
}

unsigned nameAtFront(string_view text, string_view names) {
  for (unsigned i = 0; i * kNameLength < names.size(); ++i)
    if (text.starts_with(string_view(names.data() + i * kNameLength, kNameLength))) return i;
  return kNone;
}

// Names are replaced as plain text, with no regard to word ends: MONTUE is the number 12. The result is never longer.
string_view replaceNames(string_view field, const FieldRules& rules, Buffer& buffer) {
  char* out = buffer.data();
  while (!field.empty()) {
    const unsigned name = nameAtFront(field, rules.names);
    if (name == kNone)
      *out++ = field.front();
    else
      out = std::to_chars(out, out + kNameLength, rules.minimum + name).ptr;
    field.remove_prefix(name == kNone ? 1 : kNameLength);
  }
  return {buffer.data(), static_cast<std::size_t>(out - buffer.data())};
}

const char* parseRangeEnds(string_view text, Range& result) {
  std::array<string_view, 2> ends;
  if (!splitExactly(text, '-', ends)) return "Specified range requires two fields";
  if (!parseNumber(ends[0], result.first)) return "Unsigned integer parse error 2";
  if (!parseNumber(ends[1], result.last)) return "Unsigned integer parse error 3";
  return nullptr;
}

// `isOpen`: a single value is the start of a range that the field's maximum ends.
const char* parseRange(string_view text, const FieldRules& rules, bool isOpen, Range& result) {
  result = {rules.minimum, rules.maximum};
  if (text == "*") return nullptr;
  if (text.find('-') != string_view::npos) {
    if (const char* error = parseRangeEnds(text, result)) return error;
  } else {
    if (!parseNumber(text, result.first)) return "Unsigned integer parse error 1";
    result.last = isOpen ? rules.maximum : result.first;
  }
  if (std::max(result.first, result.last) > rules.maximum) return "Specified range exceeds maximum";
  if (std::min(result.first, result.last) < rules.minimum) return "Specified range is less than minimum";
  if (result.first > result.last) return "Specified range start exceeds range end";
  return nullptr;
}

const char* parseItem(string_view item, const FieldRules& rules, BitSet& set) {
  const bool hasStep = item.find('/') != string_view::npos;
  std::array<string_view, 2> pieces = {item, "1"};
  if (hasStep && !splitExactly(item, '/', pieces)) return "Incrementer must have two fields";
  Range values;
  if (const char* error = parseRange(pieces[0], rules, hasStep, values)) return error;
  unsigned step = 1;
  if (!parseNumber(pieces[1], step)) return "Unsigned integer parse error 4";
  if (step == 0) return "Incrementer may not be zero";
  for (unsigned value = values.first; value <= values.last; value += step) set |= BitSet{1} << value;
  return nullptr;
}

const char* parseField(string_view field, const FieldRules& rules, BitSet& set) {
  Buffer buffer;
  if (rules.isDay && field == "?") field = "*";
  if (!rules.names.empty()) field = replaceNames(field, rules, buffer);
  string_view item = takePiece(field, ',');
  if (item.empty()) return "Comma split error";
  for (; !item.empty(); item = takePiece(field, ','))
    if (const char* error = parseItem(item, rules, set)) return error;
  return nullptr;
}

const char* parse(const char* expression, cron_expr& target) {
  Buffer buffer;
  Fields fields;
  if (!splitExactly(normalise(expression, buffer), ' ', fields))
    return "Invalid number of fields, expression must consist of 6 fields";
  std::array<BitSet, kFieldCount> sets = {};
  for (std::size_t i = 0; i < kFieldCount; ++i)
    if (const char* error = parseField(fields[i], kRules[i], sets[i])) return error;
  store(sets[0], target.seconds);
  store(sets[1], target.minutes);
  store(sets[2], target.hours);
  store(sets[3], target.days_of_month);
  store(sets[4] >> 1, target.months);
  store((sets[5] | sets[5] >> 7) & bitsBetween(0, 6), target.days_of_week);  // 7 is Sunday too
  return nullptr;
}

}  // namespace

void cron_parse_expr(const char* expression, cron_expr* target, const char** error) {
  const char* ignored = nullptr;
  const char*& problem = error != nullptr ? *error : ignored;
  if (target != nullptr) *target = {};
  if (expression == nullptr)
    problem = "Invalid NULL expression";
  else if (target == nullptr)
    problem = "Invalid NULL target";
  else
    problem = parse(expression, *target);
}
