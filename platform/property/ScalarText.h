// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "platform/property/Value.h"

namespace KX::Property {

// The JSON text of a value that is no string and has no items: "null", "true", "-1", "0.5", "[]".
class ScalarText {
 public:
  explicit ScalarText(const Value& value);
  std::string_view view() const { return {text_, length_}; }

 private:
  void set(std::string_view text);
  void setDouble(double value);
  void setEnd(const char* end) { length_ = static_cast<std::size_t>(end - text_); }

  char text_[32];
  std::size_t length_ = 0;
};

}  // namespace KX::Property
