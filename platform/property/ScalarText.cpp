// SPDX-License-Identifier: Apache-2.0
#include "platform/property/ScalarText.h"

#include <charconv>
#include <cmath>

namespace KX::Property {

ScalarText::ScalarText(const Value& value) {
  switch (value.type()) {
    case Value::Type::SIGNED:
      setEnd(std::to_chars(text_, text_ + sizeof(text_), value.toInt64Or(0)).ptr);
      break;
    case Value::Type::UNSIGNED:
      setEnd(std::to_chars(text_, text_ + sizeof(text_), value.toUInt64Or(0)).ptr);
      break;
    case Value::Type::DOUBLE:
      setDouble(value.toDoubleOr(0));
      break;
    case Value::Type::BOOLEAN:
      set(value.toBoolOr(false) ? "true" : "false");
      break;
    case Value::Type::ARRAY:
      set("[]");
      break;
    case Value::Type::OBJECT:
      set("{}");
      break;
    case Value::Type::UNSET:
    case Value::Type::NONE:
    case Value::Type::STRING:
      set("null");
  }
}

void ScalarText::set(std::string_view text) { length_ = text.copy(text_, sizeof(text_)); }

// The shortest digits that give the same number, and ".0" where they alone would be read as an integer. JSON has no
// infinities and no NaN.
void ScalarText::setDouble(double value) {
  if (!std::isfinite(value)) return set("null");
  char* end = std::to_chars(text_, text_ + sizeof(text_), value).ptr;
  const std::string_view digits(text_, static_cast<std::size_t>(end - text_));
  if (digits.find_first_of(".e") == std::string_view::npos) {
    *end++ = '.';
    *end++ = '0';
  }
  setEnd(end);
}

}  // namespace KX::Property
