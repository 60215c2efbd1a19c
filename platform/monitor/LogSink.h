// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "platform/base/Export.h"
#include "platform/base/String.h"
#include "platform/loop/LineWriter.h"

namespace RTD {

// Trace lines carry their level, other lines their kind: what was refused, how a job or a scan ended or what went wrong
// on the way, and scans that succeeded.
enum Kind : unsigned { TRACE_1 = 1, TRACE_2 = 2, TRACE_3 = 3, REFUSAL = 4, OUTCOME = 5, SUCCESS = 6 };

struct LogLine {
  Kind kind;
  const String& monitor;  // the monitor's name
  const String& prefix;   // of the object that speaks; may be empty
  const String& text;     // as it was logged, control characters and all
};

// Where log lines go. A sink must not log itself, and neither waits nor fails: a line that it cannot
// write is lost.
class KX_EXPORT LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void write(const LogLine& line) = 0;
};

// Prefix and text made fit for a terminal or a file: control characters escaped, invalid UTF-8 replaced, and further
// lines indented, so that none can be taken for a line of its own.
String printable(const LogLine& line);

// One line on stderr: time, monitor, kind, then prefix and text. Nobody waits for the reader of stderr: what it does
// not take is queued and follows on the loop as there is room. Beyond a bound whole lines are dropped, and "n lines
// lost" says how many once there is room again.
class KX_EXPORT StderrSink final : public LogSink {
 public:
  // It goes before the loop does; what is queued then has a second to go out.
  explicit StderrSink(KXEventLoop& loop) : loop_(loop) {}
  StderrSink(const StderrSink&) = delete;
  StderrSink& operator=(const StderrSink&) = delete;
  ~StderrSink() override;

  void write(const LogLine& line) override;
  // Lines as they are, such as a listing: all of them go out, or none.
  void writeText(const String& lines);

 private:
  void put(const String& text, std::uint64_t lines);
  void tellLost();
  KX::LineWriter& writer();

  KXEventLoop& loop_;
  std::unique_ptr<KX::LineWriter> writer_;  // none until something is written, and after a failure
  std::uint64_t lost_ = 0;
};

// The system log, under the program's name: traces are debug, refusals warnings, outcomes notices, successes info. One
// such sink a process, since the system log has one identity.
class KX_EXPORT SyslogSink final : public LogSink {
 public:
  explicit SyslogSink(const String& program);
  ~SyslogSink() override;
  void write(const LogLine& line) override;

 private:
  String program_;
};

}  // namespace RTD
