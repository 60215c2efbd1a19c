// SPDX-License-Identifier: Apache-2.0
#include "platform/base/StringBuilder.h"

#include <algorithm>
#include <utility>

namespace KX {

// Handed to a string, which knows how to free it.
StringBuilder::~StringBuilder() {
  if (buffer_ != nullptr) static_cast<void>(String(buffer_));
}

void StringBuilder::grow(std::size_t size) {
  const std::size_t old = length();
  const std::size_t wanted = std::max(old + size, 2 * old);
  if (buffer_ == nullptr) {
    buffer_ = String::allocateBuffer(wanted);
    std::memcpy(buffer_->text(), small_, old);
  } else {
    buffer_ = String::reallocateBuffer(buffer_, wanted);
  }
  end_ = buffer_->text() + old;
  limit_ = buffer_->text() + wanted;
}

String StringBuilder::take() {
  String result = buffer_ == nullptr ? String(small_, length()) : String(String::reallocateBuffer(buffer_, length()));
  buffer_ = nullptr;
  end_ = small_;
  limit_ = small_ + sizeof(small_);
  return result;
}

}  // namespace KX
