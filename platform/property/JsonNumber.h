// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/property/Value.h"

namespace KX::Property {

// A number at the start of a JSON text: what it is and where it ends. Integers of 64 bits are kept exactly; any other
// number is the nearest double, and -0 is one, too. Takes time linear in the number's length.
struct JsonNumber {
  Value value;
  const char* end = nullptr;
  const char* error = nullptr;  // what is wrong with it, or null

  // The text starts with a minus sign or a digit.
  JsonNumber(const char* text, const char* textEnd);

 private:
  void readInteger(const char* text);
  void readDouble(const char* text);
};

}  // namespace KX::Property
