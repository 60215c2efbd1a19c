// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <csignal>
#include <optional>

#include "platform/loop/LineWriter.h"
#include "tests/links/TestPeer.h"

using KX::LineWriter;
using namespace std::chrono_literals;

namespace {

enum class Kind { SOCKET, PIPE };

class LineWriterTest : public testing::TestWithParam<Kind> {
 protected:
  LineWriterTest() {
    std::signal(SIGPIPE, SIG_IGN);
    reset();
  }
  ~LineWriterTest() override {
    writer.reset();
    if (output >= 0) close(output);
  }
  // A writer to a peer that has read nothing.
  void reset() {
    writer.reset();
    if (output >= 0) close(output);
    int ends[2];
    if (GetParam() == Kind::PIPE) {
      EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    } else {
      EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    }
    peer.emplace(runner, ends[0], -1, false);
    output = ends[1];
    writer.emplace(runner.loop, output,
                   LineWriter::Handlers{[this](const XCode& reason) {
                                          failures.emplace_back(reason.toString().c_str());
                                          runner.somethingHappened();
                                        },
                                        [this] {
                                          ++drained;
                                          runner.somethingHappened();
                                        }},
                   BOUND);
  }
  // Sends until the peer's side is full.
  void fill(const String& text) {
    while (writer->unsent() == 0) ASSERT_TRUE(writer->send(text).isSuccess());
  }

  // Until as much waits as may, in lines of 1000 bytes behind one that is on its way.
  void fillTheQueue() {
    fill(line);
    for (std::size_t waiting = 0; waiting < BOUND; waiting += 1000) ASSERT_TRUE(writer->send(line).isSuccess());
  }

  static constexpr std::size_t BOUND = 1000000;
  const String line{std::string(999, 'x')};
  LoopRunner runner;
  std::optional<TestPeer> peer;
  int output = -1;
  std::optional<LineWriter> writer;
  std::vector<std::string> failures;
  int drained = 0;
};

}  // namespace

TEST_P(LineWriterTest, LineGoesOutAtOnceWithItsEnd) {
  ASSERT_TRUE(writer->send("hello"_s).isSuccess());
  EXPECT_EQ(writer->unsent(), 0U);
  peer->startReading();
  ASSERT_TRUE(peer->waitForLines(1));
  EXPECT_EQ(peer->lines[0], "hello");
  EXPECT_EQ(drained, 0);
}

TEST_P(LineWriterTest, LinesWaitForASlowReaderAndKeepTheirOrder) {
  const String padding(std::string(500, '.'));
  std::size_t count = 0;
  while (writer->unsent() < BOUND / 2) {
    ASSERT_TRUE(writer->send(String::format("%zu", count++).append(padding)).isSuccess());
  }
  peer->startReading();
  ASSERT_TRUE(peer->waitForLines(count));
  for (std::size_t i = 0; i < count; ++i) ASSERT_EQ(peer->lines[i], std::to_string(i) + padding.c_str());
  EXPECT_EQ(drained, 1);
  EXPECT_EQ(writer->unsent(), 0U);
}

TEST_P(LineWriterTest, EmptyLinesAndLinesWithNulBytesGoOut) {
  ASSERT_TRUE(writer->send(""_s).isSuccess());
  ASSERT_TRUE(writer->send(String("a\0b", 3)).isSuccess());
  peer->startReading();
  ASSERT_TRUE(peer->waitForLines(2));
  EXPECT_EQ(peer->lines[0], "");
  EXPECT_EQ(peer->lines[1], std::string("a\0b", 3));
}

TEST_P(LineWriterTest, FullQueueFailsTheWriter) {
  fillTheQueue();
  EXPECT_EQ(writer->send(line).toString(), "The peer does not read");
  EXPECT_TRUE(failures.empty());
  EXPECT_EQ(writer->unsent(), 0U);
  ASSERT_TRUE(runner.runUntil([this] { return !failures.empty(); }));
  EXPECT_EQ(failures, std::vector<std::string>{"The peer does not read"});
  EXPECT_EQ(writer->send("x"_s).toString(), "The peer does not read");
}

TEST_P(LineWriterTest, BoundCountsWhatWaitsBehindTheLineOnItsWay) {
  for (const std::size_t waiting : {BOUND - 1, BOUND}) {
    reset();
    fill(line);
    ASSERT_TRUE(writer->send("x"_s).isSuccess());
    ASSERT_TRUE(writer->send(String(std::string(waiting - 3, 'x'))).isSuccess());
  }
  // The end of a line is one byte too many, whether something waits already or not.
  EXPECT_TRUE(writer->send(""_s).isErr());
  reset();
  fill(line);
  EXPECT_TRUE(writer->send(String(std::string(BOUND, 'x'))).isErr());
}

TEST_P(LineWriterTest, LineAboveTheBoundGoesOutWhenNothingWaits) {
  const std::string large(3 * BOUND, 'x');
  ASSERT_TRUE(writer->send(String(large)).isSuccess());
  ASSERT_TRUE(writer->send("event"_s).isSuccess());
  peer->startReading();
  ASSERT_TRUE(peer->waitForLines(2));
  EXPECT_EQ(peer->lines[0], large);
  EXPECT_EQ(peer->lines[1], "event");
}

TEST_P(LineWriterTest, ReaderThatHasMadeRoomMeanwhileIsNotFailed) {
  fillTheQueue();
  // The reader empties its side, but the writer's own turn has not come.
  peer->readNow();
  EXPECT_TRUE(writer->send(line).isSuccess());
}

TEST_P(LineWriterTest, ReaderThatIsGoneFailsTheWriter) {
  peer->close();
  EXPECT_TRUE(writer->send("x"_s).isErr());
  ASSERT_TRUE(runner.runUntil([this] { return !failures.empty(); }));
  EXPECT_EQ(failures, std::vector<std::string>{"Broken pipe"});
}

TEST_P(LineWriterTest, ReaderThatGoesWhileLinesWaitFailsTheWriter) {
  fill("x"_s);
  peer->close();
  ASSERT_TRUE(runner.runUntil([this] { return !failures.empty(); }));
  EXPECT_EQ(failures.size(), 1U);
  EXPECT_EQ(writer->unsent(), 0U);
  EXPECT_EQ(drained, 0);
}

TEST_P(LineWriterTest, FlushEndsWithItsTime) {
  fill("x"_s);
  const auto start = std::chrono::steady_clock::now();
  writer->flush(50ms);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, 50ms);
  EXPECT_LT(took, 10s);
  EXPECT_GT(writer->unsent(), 0U);
}

TEST_P(LineWriterTest, FlushOfAnEmptyQueueDoesNotWait) {
  const auto start = std::chrono::steady_clock::now();
  writer->flush(30s);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 10s);
}

TEST_P(LineWriterTest, FlagsOfTheDescriptorStayAsTheyWere) {
  const int flags = fcntl(output, F_GETFL);
  fill("x"_s);
  EXPECT_EQ(fcntl(output, F_GETFL), flags);
}

TEST_P(LineWriterTest, WriterMayBeDestroyedByItsHandlers) {
  writer.emplace(runner.loop, output,
                 LineWriter::Handlers{[this](const XCode&) {
                                        writer.reset();
                                        runner.somethingHappened();
                                      },
                                      nullptr});
  fill("x"_s);
  peer->close();
  EXPECT_TRUE(runner.runUntil([this] { return !writer.has_value(); }));
}

INSTANTIATE_TEST_SUITE_P(Kinds, LineWriterTest, testing::Values(Kind::SOCKET, Kind::PIPE),
                         [](const auto& test) { return test.param == Kind::PIPE ? "Pipe" : "Socket"; });

TEST(LineWriterFileTest, FullDiskFailsTheWriter) {
  LoopRunner runner;
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  LineWriter writer(runner.loop, full, {});
  EXPECT_EQ(writer.send("x"_s).toString(), "No space left on device");
  close(full);
}

TEST(LineWriterFileTest, DescriptorThatIsNotOpenFailsTheWriter) {
  LoopRunner runner;
  LineWriter writer(runner.loop, 1000, {});
  EXPECT_EQ(writer.send("x"_s).toString(), "Bad file descriptor");
}
