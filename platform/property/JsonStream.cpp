// SPDX-License-Identifier: Apache-2.0
#include "platform/property/JsonStream.h"

#include <utility>

#include "platform/property/JsonNumber.h"

namespace KX::Property {

void JsonStream::putDecoded(char c) {
  // Only the escape of a lone surrogate leads to these bytes, which are no UTF-8.
  constexpr std::size_t ESCAPE = 6;  // \uXXXX
  const bool isSurrogate = static_cast<unsigned char>(c) >= 0xa0 && !decoded_.empty() && decoded_.back() == '\xed';
  if (isSurrogate) return fail("Lone surrogate", Tell() - ESCAPE);
  decoded_ += c;
}

void JsonStream::readNumber() {
  JsonNumber number(next_, end_);
  numberStart_ = Tell();
  if (number.error != nullptr) return fail(number.error, numberStart_);
  next_ = number.end - 1;
  lastDigit_ = Tell();
  number_ = std::move(number.value);
}

void JsonStream::fail(const char* what, std::size_t offset) {
  if (error_ != nullptr) return;
  error_ = what;
  errorOffset_ = offset;
  end_ = next_;
}

}  // namespace KX::Property
