// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/base/Count.h"
#include "platform/base/Export.h"

template <class T>
class KXVector;

// A byte string of up to 4 GiB that may hold NUL bytes. It is one pointer wide; copies share one buffer until one of
// them is changed, and copies may be held by several threads. The text is always followed by a NUL. String literals
// written as "text"_s need no memory at all.
class KX_EXPORT String {
 public:
  // The buffer behind a string: this header, then the text, then a NUL.
  struct Buffer {
    KX::Count count;
    std::uint32_t length;
    char* text() { return reinterpret_cast<char*>(this + 1); }
  };
  static constexpr std::uint32_t IMMORTAL = 0x80000000U;

  String() noexcept;
  String(const char* text);  // null is the empty string
  String(std::string_view text);
  String(const char* text, std::size_t length);
  explicit String(Buffer* adopted) noexcept : buffer_(adopted) {}
  String(const String& other) noexcept : buffer_(other.buffer_) { addRef(); }
  String(String&& other) noexcept;
  String& operator=(const String& other) noexcept;
  String& operator=(String&& other) noexcept;
  ~String() { release(); }

  [[gnu::format(printf, 1, 2)]] static String format(const char* format, ...);
  [[gnu::format(printf, 1, 0)]] static String vformat(const char* format, std::va_list arguments);
  // Appends the formatted text.
  [[gnu::format(printf, 2, 3)]] String& concatf(const char* format, ...);
  String& append(std::string_view text);

  // The pieces between any of the separator characters; empty pieces are dropped.
  KXVector<String> splitAtChars(const char* separators) const;
  // A to Z only: the result does not depend on the locale.
  String toUpperCase() const;

  const char* c_str() const { return buffer_->text(); }
  std::size_t length() const { return buffer_->length; }
  bool isEmpty() const { return buffer_->length == 0; }
  std::string_view view() const { return {buffer_->text(), buffer_->length}; }
  operator std::string_view() const { return view(); }

  bool operator==(const String& other) const {
    return buffer_ == other.buffer_ || (length() == other.length() && view() == other.view());
  }
  bool operator==(std::string_view other) const { return view() == other; }
  bool operator==(const char* other) const { return view() == other; }

  // A buffer for text of the given length, its text still to be written. For whoever builds a text in place: it gives
  // the buffer the length that it has in the end and hands it to a string.
  static Buffer* allocateBuffer(std::size_t length);
  // The same buffer, which no string holds yet, for another length; the text up to there is kept.
  static Buffer* reallocateBuffer(Buffer* buffer, std::size_t length);

 private:
  void addRef() noexcept {
    if (buffer_->count.peek() < IMMORTAL) buffer_->count.increment();
  }
  void release() noexcept {
    if (buffer_->count.peek() < IMMORTAL && buffer_->count.decrement() == 0) freeBuffer(buffer_);
  }
  static void freeBuffer(Buffer* buffer) noexcept;
  // Makes room for a text of the given length in a buffer of its own, and keeps the text that is there.
  char* resize(std::size_t length);

  Buffer* buffer_;
};

namespace KX::Literal {

// The text of a literal, laid out as a string's buffer.
template <std::size_t SIZE>
struct Text {
  String::Buffer header{Count(String::IMMORTAL), SIZE - 1};
  char text[SIZE]{};
  consteval Text(const char (&literal)[SIZE]) {
    for (std::size_t i = 0; i < SIZE; ++i) text[i] = literal[i];
  }
};

template <std::size_t SIZE>
struct Name {
  char text[SIZE]{};
  consteval Name(const char (&literal)[SIZE]) {
    for (std::size_t i = 0; i < SIZE; ++i) text[i] = literal[i];
  }
};

template <Name NAME>
inline constinit Text<sizeof(NAME.text)> BUFFER{NAME.text};

}  // namespace KX::Literal

inline String::String() noexcept : buffer_(&KX::Literal::BUFFER<"">.header) {}
inline String::String(String&& other) noexcept : buffer_(other.buffer_) {
  other.buffer_ = &KX::Literal::BUFFER<"">.header;
}
inline String& String::operator=(String&& other) noexcept {
  Buffer* const buffer = buffer_;
  buffer_ = other.buffer_;
  other.buffer_ = buffer;
  return *this;
}

// A string constant without allocation or start-up cost.
template <KX::Literal::Name NAME>
String operator""_s() noexcept {
  return String(&KX::Literal::BUFFER<NAME>.header);
}

// The hash of the string tables: a table's order, and so the order of services on the wire, follows from it.
// It is hash = hash ^ c ^ (hash << 5) for every byte c. Four such steps are one shift by 20 and what the four bytes
// come to by themselves, which processors work out side by side.
inline std::uint32_t kxHash(std::string_view text) {
  constexpr auto step = [](std::uint32_t hash, char c) { return hash ^ static_cast<unsigned char>(c) ^ (hash << 5U); };
  std::uint32_t hash = 0;
  std::size_t i = 0;
  for (; i + 4 <= text.size(); i += 4) {
    hash ^= (hash << 20U) ^ step(step(step(step(0, text[i]), text[i + 1]), text[i + 2]), text[i + 3]);
  }
  for (; i < text.size(); ++i) hash = step(hash, text[i]);
  return hash;
}
