// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KX::NMS {

// Cuts a stream of bytes into lines. A line longer than the limit is told once, as soon as it is too long, and its
// bytes are skipped without being stored. A line that arrives in one piece is not copied.
//
//   reader.feed(bytes);
//   while ((result = reader.next(line)) != LineReader::Result::NEED_MORE) ...
class LineReader {
 public:
  enum class Result { NEED_MORE, LINE, TOO_LONG };

  // Bytes of a line without its end; 0 is no limit.
  explicit LineReader(std::size_t limit);

  // The bytes must stay where they are until next has asked for more.
  void feed(std::string_view bytes) { input_ = bytes; }
  // The line, without its "\n", stays good until the next call.
  Result next(std::string_view& line);
  // Whether the end of a line is still to come.
  bool isInLine() const { return skipping_ || (!delivered_ && !partial_.empty()); }
  // At the end of the input: what came after the last "\n" is a line too.
  Result finish(std::string_view& line);

 private:
  Result take(std::string_view piece, bool complete, std::string_view& line);

  std::size_t limit_;
  std::string_view input_;
  std::string partial_;
  bool delivered_ = false;
  bool skipping_ = false;
};

}  // namespace KX::NMS
