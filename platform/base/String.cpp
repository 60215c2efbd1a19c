// SPDX-License-Identifier: Apache-2.0
#include "platform/base/String.h"

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <utility>

#include "platform/base/KXVector.h"
#include "platform/base/Memory.h"

namespace {

constexpr std::size_t EXACT_BELOW = 256;

// The size of a buffer follows from the length of its text, so it need not be stored: exact for short texts, in steps
// of a quarter for long ones, so that appending in small pieces stays linear.
std::size_t capacityFor(std::size_t length) {
  if (length < EXACT_BELOW) return length;
  const auto step = static_cast<unsigned>(std::bit_width(length)) - 3;
  return ((length >> step) + 1) << step;
}

String::Buffer* emptyBuffer() { return &KX::Literal::BUFFER<"">.header; }

}  // namespace

String::Buffer* String::allocateBuffer(std::size_t length) {
  if (length > std::numeric_limits<std::uint32_t>::max() / 2) KX::outOfMemory();
  auto* buffer = static_cast<Buffer*>(KX::allocate(sizeof(Buffer) + capacityFor(length) + 1));
  buffer->count = KX::Count(1);
  buffer->length = static_cast<std::uint32_t>(length);
  buffer->text()[length] = '\0';
  return buffer;
}

String::Buffer* String::reallocateBuffer(Buffer* buffer, std::size_t length) {
  if (length > std::numeric_limits<std::uint32_t>::max() / 2) KX::outOfMemory();
  buffer = static_cast<Buffer*>(KX::reallocate(buffer, sizeof(Buffer) + capacityFor(length) + 1));
  buffer->length = static_cast<std::uint32_t>(length);
  buffer->text()[length] = '\0';
  return buffer;
}

// Not inlined, or GCC warns of literals that would be freed: it does not see that their count keeps them.
[[gnu::noinline]] void String::freeBuffer(Buffer* buffer) noexcept { std::free(buffer); }

String::String(const char* text) : String(text == nullptr ? std::string_view() : text) {}

String::String(std::string_view text) : String(text.data(), text.size()) {}

String::String(const char* text, std::size_t length) : buffer_(emptyBuffer()) {
  if (length == 0) return;
  buffer_ = allocateBuffer(length);
  std::memcpy(buffer_->text(), text, length);
}

String& String::operator=(const String& other) noexcept {
  String copy(other);
  std::swap(buffer_, copy.buffer_);
  return *this;
}

char* String::resize(std::size_t length) {
  if (length > std::numeric_limits<std::uint32_t>::max() / 2) KX::outOfMemory();
  const std::size_t kept = buffer_->length < length ? buffer_->length : length;
  if (buffer_->count.value() != 1) {
    Buffer* fresh = allocateBuffer(length);
    std::memcpy(fresh->text(), buffer_->text(), kept);
    release();
    buffer_ = fresh;
  } else if (capacityFor(length) != capacityFor(buffer_->length)) {
    buffer_ = reallocateBuffer(buffer_, length);
  }
  buffer_->length = static_cast<std::uint32_t>(length);
  buffer_->text()[length] = '\0';
  return buffer_->text();
}

String& String::append(std::string_view text) {
  if (text.empty()) return *this;
  // The text may lie in the very buffer that is about to move.
  const String self = (text.data() >= c_str() && text.data() <= c_str() + length()) ? *this : String();
  const std::size_t old = length();
  std::memcpy(resize(old + text.size()) + old, text.data(), text.size());
  return *this;
}

String String::vformat(const char* format, std::va_list arguments) {
  char small[256];
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(small, sizeof(small), format, arguments);
  String result;
  if (length > 0 && static_cast<std::size_t>(length) < sizeof(small)) {
    result = String(small, static_cast<std::size_t>(length));
  } else if (length > 0) {
    const auto size = static_cast<std::size_t>(length);
    Buffer* buffer = allocateBuffer(size);
    static_cast<void>(std::vsnprintf(buffer->text(), size + 1, format, again));
    result = String(buffer);
  }
  va_end(again);
  return result;
}

String String::format(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  String result = vformat(format, arguments);
  va_end(arguments);
  return result;
}

String& String::concatf(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  append(vformat(format, arguments));
  va_end(arguments);
  return *this;
}

KXVector<String> String::splitAtChars(const char* separators) const {
  KXVector<String> pieces;
  const std::string_view text = view();
  std::size_t start = text.find_first_not_of(separators);
  while (start != std::string_view::npos) {
    const std::size_t end = text.find_first_of(separators, start);
    pieces.add(String(text.substr(start, end - start)));
    start = text.find_first_not_of(separators, end);
  }
  return pieces;
}

String String::toUpperCase() const {
  if (isEmpty()) return *this;
  Buffer* buffer = allocateBuffer(length());
  for (std::size_t i = 0; i < length(); ++i) {
    const char c = c_str()[i];
    buffer->text()[i] = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
  }
  return String(buffer);
}
