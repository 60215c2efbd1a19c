// SPDX-License-Identifier: Apache-2.0
#include "platform/monitor/LogSink.h"

#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>

#include "platform/text/Printable.h"
#include "platform/time/Clock.h"

namespace {

constexpr const char* INDENTATION = "\n    ";

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

void writeToStderr(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
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

void StderrSink::write(const LogLine& line) {
  const KX::Clock now = KX::Clock::NOW();
  String text = now.toString(KX::Clock::HUMAN);
  text.concatf(".%03u %s %s ", now.toTime().fraction / 1000, line.monitor.c_str(), KIND_NAMES[line.kind]);
  text.append(printable(line)).append("\n");
  writeToStderr(text);
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
