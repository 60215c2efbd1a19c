// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/loop/UvEventLoop.h"
#include "platform/monitor/LogSink.h"
#include "platform/testing/VirtualEventLoop.h"

namespace {

struct SystemLog {
  std::string program;
  bool open = false;
  std::vector<std::pair<int, std::string>> messages;
};
SystemLog systemLog;

}  // namespace

// These take the place of the C library's, so that no test writes to the machine's log.
extern "C" {
void openlog(const char* program, int, int) {
  systemLog.program = program;
  systemLog.open = true;
}
void closelog() { systemLog.open = false; }
[[gnu::format(printf, 2, 3)]] void syslog(int priority, const char* format, ...) {
  std::array<char, 1000> text{};
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  systemLog.messages.emplace_back(priority, text.data());
}
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

String printed(const String& prefix, const String& text) {
  return RTD::printable({RTD::TRACE_1, "discovery", prefix, text});
}

// Puts something else in the place of stderr for its scope.
class StderrTo {
 public:
  explicit StderrTo(int descriptor) : kept_(dup(STDERR_FILENO)) { dup2(descriptor, STDERR_FILENO); }
  ~StderrTo() {
    dup2(kept_, STDERR_FILENO);
    close(kept_);
  }
  StderrTo(const StderrTo&) = delete;
  StderrTo& operator=(const StderrTo&) = delete;

 private:
  int kept_;
};

// A stderr that keeps apart what is written by different calls.
class StderrSinkTest : public testing::Test {
 protected:
  StderrSinkTest() {
    const char* zone = std::getenv("TZ");
    before_ = zone == nullptr ? "" : zone;
    setenv("TZ", "CET-1", 1);
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, ends_.data()), 0);
  }
  ~StderrSinkTest() override {
    close(ends_[0]);
    close(ends_[1]);
    before_.empty() ? unsetenv("TZ") : setenv("TZ", before_.c_str(), 1);
  }

  void write(RTD::Kind kind, const String& prefix, const String& text) {
    const StderrTo redirected(ends_[0]);
    sink_.write({kind, "discovery", prefix, text});
  }
  std::vector<std::string> written() {
    std::vector<std::string> writes;
    std::array<char, 4096> buffer{};
    for (;;) {
      const ssize_t size = recv(ends_[1], buffer.data(), buffer.size(), 0);
      if (size < 0) return writes;
      writes.emplace_back(buffer.data(), static_cast<std::size_t>(size));
    }
  }

  std::array<int, 2> ends_{};
  std::string before_;
  // 22:25:00.123 in UTC.
  KX::Testing::VirtualEventLoop loop_{KX::Clock::fromMicroseconds(1'795'213'500'123'456)};
  RTD::StderrSink sink_{loop_};
};

TEST(PrintableLogLineTest, IsPrefixThenText) {
  EXPECT_EQ(printed("[Job nightly.3] ", "Preparing..."), "[Job nightly.3] Preparing...");
  EXPECT_EQ(printed("", "Preparing..."), "Preparing...");
  EXPECT_EQ(printed("", ""), "");
}

TEST(PrintableLogLineTest, FurtherLinesAreIndented) {
  EXPECT_EQ(printed("[p] ", "a:\n  b: \"c\"\n2026-11-20 22:25:00.123 discovery success"),
            "[p] a:\n      b: \"c\"\n    2026-11-20 22:25:00.123 discovery success");
  EXPECT_EQ(printed("[p] ", "\na\n\nb"), "[p] \n    a\n    \n    b");
}

TEST(PrintableLogLineTest, LineEndsAtTheEndAreDropped) {
  EXPECT_EQ(printed("[p] ", "output\n"), "[p] output");
  EXPECT_EQ(printed("[p] ", "a\nb\n\n"), "[p] a\n    b");
  EXPECT_EQ(printed("[p] ", "\n\n"), "[p] ");
}

TEST(PrintableLogLineTest, ControlCharactersAreEscapedAndInvalidBytesReplaced) {
  EXPECT_EQ(printed("[p] ", "\x1b[31m\tred\r\nnext\x7f"), "[p] \\x1b[31m\\tred\\r\n    next\\x7f");
  EXPECT_EQ(printed("", "a\xff"), "a\xef\xbf\xbd");
  EXPECT_EQ(printed("", String("a\0b", 3)), "a\\x00b");
}

TEST(PrintableLogLineTest, PrefixIsNeverMoreThanOneLine) {
  EXPECT_EQ(printed("[Job a\nb] ", "text"), "[Job a\\nb] text");
}

TEST_F(StderrSinkTest, LineHasTimeMonitorKindPrefixAndText) {
  write(RTD::TRACE_1, "[Job nightly.3] ", "Preparing...");
  EXPECT_THAT(written(), ElementsAre("2026-11-20 23:25:00.123 discovery trace1 [Job nightly.3] Preparing...\n"));
}

TEST_F(StderrSinkTest, EveryKindHasItsName) {
  for (const RTD::Kind kind : {RTD::TRACE_1, RTD::TRACE_2, RTD::TRACE_3, RTD::REFUSAL, RTD::OUTCOME, RTD::SUCCESS}) {
    write(kind, "", "text");
  }
  std::vector<std::string> kinds;
  for (const std::string& line : written()) kinds.push_back(line.substr(34));
  EXPECT_THAT(kinds, ElementsAre("trace1 text\n", "trace2 text\n", "trace3 text\n", "refusal text\n", "outcome text\n",
                                 "success text\n"));
}

TEST_F(StderrSinkTest, LineOfSeveralLinesIsOneWrite) {
  write(RTD::TRACE_2, "", "a:\n  b: \"c\"\n");
  EXPECT_THAT(written(), ElementsAre("2026-11-20 23:25:00.123 discovery trace2 a:\n      b: \"c\"\n"));
}

TEST_F(StderrSinkTest, LineThatCannotBeWrittenIsLost) {
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  {
    const StderrTo redirected(full);
    sink_.write({RTD::OUTCOME, "discovery", "", "lost"});
    close(STDERR_FILENO);
    sink_.write({RTD::OUTCOME, "discovery", "", "lost"});
  }
  close(full);
  // A stderr that takes nothing for now: the line does not wait.
  while (send(ends_[0], "x", 1, 0) == 1) continue;
  write(RTD::OUTCOME, "", "lost");
  for (const std::string& text : written()) ASSERT_EQ(text, "x");
  write(RTD::OUTCOME, "", "back");
  EXPECT_THAT(written(), ElementsAre("3 lines lost\n", testing::HasSubstr("back")));
}

// A stderr that nobody reads at first, on a real loop.
class UnreadStderrTest : public testing::TestWithParam<bool> {
 protected:
  UnreadStderrTest() {
    std::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(GetParam() ? pipe2(ends_.data(), O_CLOEXEC) : socketpair(AF_UNIX, SOCK_STREAM, 0, ends_.data()), 0);
  }
  ~UnreadStderrTest() override {
    close(ends_[0]);
    close(ends_[1]);
  }
  // What is there to read, with the loop in between, until nothing comes.
  std::string readAll() {
    std::string text;
    const auto end = loop_.createTimeoutEvent(9, [this] { loop_.stop(); });
    for (pollfd entry{ends_[0], POLLIN, 0}; poll(&entry, 1, 0) > 0;) {
      std::array<char, 65536> buffer{};
      const ssize_t size = read(ends_[0], buffer.data(), buffer.size());
      if (size <= 0) break;
      text.append(buffer.data(), static_cast<std::size_t>(size));
      end->start(1, false, false);
      loop_.run();
    }
    return text;
  }

  std::array<int, 2> ends_{};
  KX::UvEventLoop loop_;
};

TEST_P(UnreadStderrTest, NobodyWaitsAndWholeLinesAreLostAndCounted) {
  const StderrTo redirected(ends_[1]);
  RTD::StderrSink sink(loop_);
  const String text(std::string(1000, 'x'));
  constexpr unsigned LINES = 5000;
  for (unsigned i = 0; i < LINES; ++i) sink.write({RTD::TRACE_3, "discovery", "", text});
  const std::string all = readAll();
  std::istringstream lines(all);
  unsigned whole = 0;
  std::string line;
  while (std::getline(lines, line) && line.ends_with(text.c_str())) ++whole;
  EXPECT_GT(whole, 1000U) << "what fits the queue";
  EXPECT_LT(whole, 2000U) << "the queue is bounded";
  EXPECT_EQ(line, std::to_string(LINES - whole) + " lines lost");
  EXPECT_FALSE(std::getline(lines, line)) << line;
  sink.write({RTD::TRACE_3, "discovery", "", "back"});
  EXPECT_THAT(readAll(), testing::EndsWith("trace3 back\n"));
}

TEST_P(UnreadStderrTest, AListingGoesOutWholeOrIsCountedLineByLine) {
  const StderrTo redirected(ends_[1]);
  RTD::StderrSink sink(loop_);
  std::string listing;
  for (unsigned i = 0; i < 200'000; ++i) listing += "a row\n";
  const String text(listing);
  for (int i = 0; i < 3; ++i) sink.writeText(text);
  const std::string all = readAll();
  EXPECT_TRUE(all == listing + "400000 lines lost\n") << all.size();
}

TEST_P(UnreadStderrTest, TheEndWaitsOnlyAWhileForAReader) {
  const StderrTo redirected(ends_[1]);
  const auto start = std::chrono::steady_clock::now();
  {
    RTD::StderrSink sink(loop_);
    for (int i = 0; i < 500; ++i) sink.write({RTD::TRACE_3, "discovery", "", String(std::string(1000, 'x'))});
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

INSTANTIATE_TEST_SUITE_P(Stderr, UnreadStderrTest, testing::Bool(),
                         [](const auto& kind) { return kind.param ? "Pipe" : "Socket"; });

TEST(SyslogSinkTest, OpensAndClosesTheLogUnderTheProgramsName) {
  {
    const RTD::SyslogSink sink("discovery-agent");
    EXPECT_TRUE(systemLog.open);
    EXPECT_EQ(systemLog.program, "discovery-agent");
  }
  EXPECT_FALSE(systemLog.open);
}

TEST(SyslogSinkTest, KindDecidesThePriority) {
  RTD::SyslogSink sink("discovery-agent");
  systemLog.messages.clear();
  for (const RTD::Kind kind : {RTD::TRACE_1, RTD::TRACE_3, RTD::REFUSAL, RTD::OUTCOME, RTD::SUCCESS}) {
    sink.write({kind, "discovery", "[p] ", "100%s"});
  }
  EXPECT_THAT(systemLog.messages,
              ElementsAre(Pair(LOG_DEBUG, "[p] 100%s"), Pair(LOG_DEBUG, "[p] 100%s"), Pair(LOG_WARNING, "[p] 100%s"),
                          Pair(LOG_NOTICE, "[p] 100%s"), Pair(LOG_INFO, "[p] 100%s")));
}

TEST(SyslogSinkTest, EveryLineIsAMessage) {
  RTD::SyslogSink sink("discovery-agent");
  systemLog.messages.clear();
  sink.write({RTD::TRACE_2, "discovery", "[p] ", "a:\n  b: \x1b\n"});
  EXPECT_THAT(systemLog.messages, ElementsAre(Pair(LOG_DEBUG, "[p] a:"), Pair(LOG_DEBUG, "      b: \\x1b")));
}

}  // namespace
