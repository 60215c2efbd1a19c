// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

#include "platform/base/Export.h"
#include "platform/base/String.h"

namespace KX {

// Collects a text of unknown length piece by piece. A long text grows in the buffer that becomes the string, so it is
// never copied; a short one costs a single allocation of the right size at its end.
class KX_EXPORT StringBuilder {
 public:
  StringBuilder() = default;
  StringBuilder(const StringBuilder&) = delete;
  StringBuilder& operator=(const StringBuilder&) = delete;
  ~StringBuilder();

  std::size_t length() const { return static_cast<std::size_t>(end_ - start()); }

  void append(char c) {
    if (end_ == limit_) grow(1);
    *end_++ = c;
  }
  void append(std::string_view text) {
    char* to = room(text.size());
    if (!text.empty()) std::memcpy(to, text.data(), text.size());
    end_ = to + text.size();
  }
  void append(std::size_t count, char c) {
    std::memset(room(count), c, count);
    end_ += count;
  }

  // Space for that many more bytes; written() says where the text ends now.
  char* room(std::size_t size) {
    if (static_cast<std::size_t>(limit_ - end_) < size) grow(size);
    return end_;
  }
  void written(char* end) { end_ = end; }

  // What was collected; the builder is empty again.
  String take();

 private:
  const char* start() const { return buffer_ == nullptr ? small_ : buffer_->text(); }
  void grow(std::size_t size);

  char small_[512];
  char* end_ = small_;
  char* limit_ = small_ + sizeof(small_);
  String::Buffer* buffer_ = nullptr;
};

}  // namespace KX
