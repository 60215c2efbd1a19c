// SPDX-License-Identifier: Apache-2.0
#include "links/LineReader.h"

#include <limits>

namespace KX::NMS {

namespace {

// A buffer that a large message has left behind is given back; a small one serves again.
constexpr std::size_t KEPT_CAPACITY = 4096;

void empty(std::string& buffer) {
  buffer.clear();
  if (buffer.capacity() > KEPT_CAPACITY) std::string().swap(buffer);
}

}  // namespace

LineReader::LineReader(std::size_t limit) : limit_(limit == 0 ? std::numeric_limits<std::size_t>::max() : limit) {}

LineReader::Result LineReader::next(std::string_view& line) {
  if (delivered_) empty(partial_);
  delivered_ = false;
  while (!input_.empty()) {
    const std::size_t end = input_.find('\n');
    const bool complete = end != std::string_view::npos;
    const std::string_view piece = input_.substr(0, end);
    input_.remove_prefix(complete ? end + 1 : input_.size());
    if (skipping_) {
      skipping_ = !complete;
      continue;
    }
    const Result result = take(piece, complete, line);
    if (result != Result::NEED_MORE) return result;
  }
  return Result::NEED_MORE;
}

LineReader::Result LineReader::take(std::string_view piece, bool complete, std::string_view& line) {
  if (piece.size() > limit_ - partial_.size()) {
    empty(partial_);
    skipping_ = !complete;
    return Result::TOO_LONG;
  }
  if (complete && partial_.empty()) {
    line = piece;
    return Result::LINE;
  }
  partial_.append(piece);
  if (!complete) return Result::NEED_MORE;
  line = partial_;
  delivered_ = true;
  return Result::LINE;
}

LineReader::Result LineReader::finish(std::string_view& line) {
  if (delivered_) empty(partial_);
  delivered_ = !partial_.empty();
  line = partial_;
  return delivered_ ? Result::LINE : Result::NEED_MORE;
}

}  // namespace KX::NMS
