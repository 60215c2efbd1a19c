// SPDX-License-Identifier: Apache-2.0
#include "platform/monitor/LogSink.h"

#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cinttypes>
#include <string_view>

#include "platform/text/Printable.h"
#include "platform/time/Clock.h"

namespace {

constexpr const char* INDENTATION = "\n    ";

// A burst at the highest verbosity, and no more of a device's memory.
constexpr std::size_t MOST_QUEUED = std::size_t{1} << 20U;
constexpr std::chrono::seconds LAST_WAIT{1};

// By kind.
constexpr std::array<const char*, 7> KIND_NAMES{"", "trace1", "trace2", "trace3", "refusal", "outcome", "success"};

int syslogPriority(RTD::Kind kind) {
  if (kind == RTD::REFUSAL) return LOG_WARNING;
  if (kind == RTD::OUTCOME) return LOG_NOTICE;
  return kind == RTD::SUCCESS ? LOG_INFO : LOG_DEBUG;
}

// Takes the text up to the next line end, and that line end, off the rest.
std::string_view takeLine(std::string_view& rest) {
  const std::size_t end = rest.find('\n');
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  return line;
}

}  // namespace

namespace RTD {

String printable(const LogLine& line) {
  std::string_view rest = line.text;
  // Raw command output ends its last line; nothing is to follow it.
  while (!rest.empty() && rest.back() == '\n') rest.remove_suffix(1);
  String result = toPrintable(line.prefix);
  result.append(toPrintable(takeLine(rest)));
  while (!rest.empty()) result.append(INDENTATION).append(toPrintable(takeLine(rest)));
  return result;
}

StderrSink::~StderrSink() {
  if (writer_ == nullptr) return;
  writer_->flush(LAST_WAIT);
  tellLost();
}

void StderrSink::write(const LogLine& line) {
  const KX::Clock now = KX::Clock::NOW();
  String text = now.toString(KX::Clock::HUMAN);
  text.concatf(".%03u %s %s ", now.toTime().fraction / 1000, line.monitor.c_str(), KIND_NAMES[line.kind]);
  text.append(printable(line));
  put(text, 1);
}

void StderrSink::writeText(const String& lines) {
  const std::string_view text = lines.view();
  if (text.empty()) return;
  const bool isEnded = text.back() == '\n';
  const auto count = static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n')) + (isEnded ? 0 : 1);
  put(isEnded ? String(text.substr(0, text.size() - 1)) : lines, count);
}

void StderrSink::put(const String& text, std::uint64_t lines) {
  tellLost();
  if (lost_ == 0 && writer().hasRoomFor(text) && writer_->send(text).isSuccess()) return;
  lost_ += lines;
}

// Only once all that was queued has gone out: a line that says so after each lost one would fill the queue in its turn.
void StderrSink::tellLost() {
  if (lost_ == 0 || writer().unsent() != 0) return;
  const String note = String::format("%" PRIu64 " lines lost", lost_);
  if (writer_->send(note).isSuccess()) lost_ = 0;
}

// A reader that is gone may be followed by another one.
KX::LineWriter& StderrSink::writer() {
  if (writer_ == nullptr || writer_->hasFailed()) {
    writer_ = std::make_unique<KX::LineWriter>(
        loop_, STDERR_FILENO,
        KX::LineWriter::Handlers{[this](const XCode&) { writer_.reset(); }, [this] { tellLost(); }}, MOST_QUEUED);
  }
  return *writer_;
}

SyslogSink::SyslogSink(const String& program) : program_(program) {
  // The system log keeps the pointer.
  openlog(program_.c_str(), LOG_PID, LOG_DAEMON);
}

SyslogSink::~SyslogSink() { closelog(); }

// A message a line: daemons cut or mangle messages of several lines.
void SyslogSink::write(const LogLine& line) {
  const String text = printable(line);
  std::string_view rest = text;
  do {
    const std::string_view piece = takeLine(rest);
    syslog(syslogPriority(line.kind), "%.*s", static_cast<int>(piece.size()), piece.data());
  } while (!rest.empty());
}

}  // namespace RTD
