// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/String.h"
#include "platform/monitor/LogSink.h"
#include "program/Terminal.h"

// The last line of stderr, where that is a terminal: a text that is overwritten by the next one; and lines above it, as
// many as the terminal can take back. Whoever else writes to stderr withdraws it first.
class StatusLine {
 public:
  StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  bool isVisible() const { return isVisible_; }
  // Cut to the terminal's width. Control characters are escaped.
  void show(const String& text);
  void withdraw();

  // Puts a line above, while there is room on the terminal.
  void addAbove(const String& text);
  // Takes those lines away again.
  void clearAbove();
  // Somebody has written below them, so that they stay.
  void keepAbove() { above_ = 0; }

 private:
  String fit(const String& text) const;

  const Terminal terminal_;
  const bool isVisible_;
  bool shown_ = false;
  std::size_t above_ = 0;
};

// Log lines on stderr, above the status line.
class SinkAboveStatusLine final : public RTD::LogSink {
 public:
  SinkAboveStatusLine(StatusLine& statusLine, RTD::StderrSink& sink) : statusLine_(statusLine), sink_(sink) {}
  void write(const RTD::LogLine& line) override;

 private:
  StatusLine& statusLine_;
  RTD::StderrSink& sink_;
};
