// SPDX-License-Identifier: Apache-2.0
#include "program/StatusLine.h"

#include <unistd.h>

#include <cstdio>

#include "platform/text/Printable.h"
#include "program/TextWidth.h"

namespace {

constexpr char ERASE_LINE[] = "\r\033[K";

}  // namespace

StatusLine::StatusLine() : terminal_(STDERR_FILENO), isVisible_(terminal_.obeysEscapes()) {}

void StatusLine::show(const String& text) {
  if (!isVisible_) return;
  std::fprintf(stderr, "%s%s", ERASE_LINE, fit(text).c_str());
  std::fflush(stderr);
  shown_ = true;
}

String StatusLine::fit(const String& text) const {
  const String line = toPrintable(text);
  const std::size_t width = terminal_.width();
  // Some terminals begin a new line once the last column is written.
  return width == 0 ? line : fitToWidth(line, width - 1);
}

void StatusLine::addAbove(const String& text) {
  // What has left the screen cannot be taken back.
  if (!isVisible_ || above_ + 2 >= terminal_.height()) return;
  withdraw();
  std::fprintf(stderr, "%s\n", fit(text).c_str());
  std::fflush(stderr);
  ++above_;
}

void StatusLine::clearAbove() {
  withdraw();
  if (above_ != 0) std::fprintf(stderr, "\033[%zuA\033[J", above_);
  std::fflush(stderr);
  above_ = 0;
}

void StatusLine::withdraw() {
  if (!shown_) return;
  shown_ = false;
  std::fputs(ERASE_LINE, stderr);
  std::fflush(stderr);
}

void SinkAboveStatusLine::write(const RTD::LogLine& line) {
  statusLine_.withdraw();
  statusLine_.keepAbove();
  sink_.write(line);
}
