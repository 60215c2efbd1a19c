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
  String line = toPrintable(text);
  const std::size_t width = terminal_.width();
  // Some terminals begin a new line once the last column is written.
  if (width != 0) line = fitToWidth(line, width - 1);
  std::fprintf(stderr, "%s%s", ERASE_LINE, line.c_str());
  std::fflush(stderr);
  shown_ = true;
}

void StatusLine::withdraw() {
  if (!shown_) return;
  shown_ = false;
  std::fputs(ERASE_LINE, stderr);
  std::fflush(stderr);
}

void SinkAboveStatusLine::write(const RTD::LogLine& line) {
  statusLine_.withdraw();
  sink_.write(line);
}
