// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/property/PlainText.h"
#include "platform/property/Value.h"

namespace KX::Property {

// A JSON text as the reader's input. The reader believes that it parses in place, and the stream uses what it is told:
// where a string begins, it passes over all that needs no decoding at once, and where a token begins, it reads a number
// itself and lets the reader see the last digit only. The reader's own way with numbers refuses some that a double
// holds (0e999) and looks beyond its tables with very long ones. Text and number of a token are the stream's to give.
//
// The text is valid UTF-8. A stream that met an error pretends that the text ends there.
class JsonStream {
 public:
  using Ch = char;

  explicit JsonStream(std::string_view text) : start_(text.data()), next_(start_), end_(start_ + text.size()) {}

  char Peek() const { return next_ == end_ ? '\0' : *next_; }
  char Take() { return *next_++; }
  std::size_t Tell() const { return static_cast<std::size_t>(next_ - start_); }
  void Flush() {}
  // Around a string: begin, each decoded character and in the end a NUL, end.
  char* PutBegin() {
    plain_ = next_;
    next_ = plainEnd_ = skipPlainText<false>(next_, end_);
    isDecoding_ = Peek() == '\\';
    if (isDecoding_) decoded_.assign(plain_, plainEnd_);
    return nullptr;  // unused: who wants the string asks for text()
  }
  void Put(char c) {
    if (isDecoding_) putDecoded(c);
  }
  std::size_t PutEnd(char*) { return text().size() + 1; }

  // Called by the reader in front of each token.
  void skipWhitespace() {
    while (next_ != end_ && (*next_ == ' ' || *next_ == '\n' || *next_ == '\r' || *next_ == '\t')) ++next_;
    if (next_ != end_ && (*next_ == '-' || (*next_ >= '0' && *next_ <= '9'))) readNumber();
  }

  // The string and the number read last. The text stays good until the next one is read.
  std::string_view text() const {
    if (!isDecoding_) return {plain_, static_cast<std::size_t>(plainEnd_ - plain_)};
    return std::string_view(decoded_).substr(0, decoded_.size() - 1);
  }
  Value& number() { return number_; }

  bool isAtEnd() const { return next_ == end_; }
  // Where the token begins that the reader means when it stops at the offset.
  std::size_t tokenAt(std::size_t offset) const { return offset == lastDigit_ ? numberStart_ : offset; }

  // Ends the parse. The first error counts.
  void fail(const char* what, std::size_t offset);
  const char* error() const { return error_; }
  std::size_t errorOffset() const { return errorOffset_; }

 private:
  void putDecoded(char c);
  void readNumber();

  const char* const start_;
  const char* next_;
  const char* end_;
  const char* plain_ = nullptr;     // the string's first character
  const char* plainEnd_ = nullptr;  // where its first escape is, or its end
  std::string decoded_;
  bool isDecoding_ = false;
  Value number_;
  std::size_t numberStart_ = 0;
  std::size_t lastDigit_ = static_cast<std::size_t>(-1);
  const char* error_ = nullptr;
  std::size_t errorOffset_ = 0;
};

}  // namespace KX::Property
