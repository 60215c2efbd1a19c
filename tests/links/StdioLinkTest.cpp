// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <pty.h>

#include <csignal>
#include <fstream>
#include <optional>
#include <sstream>

#include "links/StdioLink.h"
#include "platform/process/Descriptor.h"
#include "tests/links/TestPeer.h"
#include "tests/platform/service/EchoService.h"

using namespace KX::NMS;

namespace {

const std::string REQUEST = "{\"kind\":\"request\",\"service\":\"echo\",\"name\":\"echo\",\"id\":1,\"data\":2}\n";
const std::string ACK = "{\"kind\":\"ack\",\"service\":\"echo\",\"name\":\"echo\",\"id\":1,\"data\":2}";

class StdioLinkTest : public testing::Test {
 protected:
  StdioLinkTest() { std::signal(SIGPIPE, SIG_IGN); }
  ~StdioLinkTest() override { link.reset(); }

  int keep(int descriptor) {
    EXPECT_GE(descriptor, 0);
    kept.emplace_back(descriptor);
    return descriptor;
  }
  void start(int input, int output) {
    link.emplace(runner.loop, SessionOptions{echo.factory, "echo"_s}, input, output);
    link->onEnded([this] {
      ++ends;
      runner.somethingHappened();
    });
    ASSERT_TRUE(link->start().isSuccess());
  }
  bool waitForEnd() {
    return runner.runUntil([this] { return ends > 0; });
  }
  static std::string contentOf(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }

  LoopRunner runner;
  EchoFactory echo;
  TemporaryFolder folder;
  std::vector<KX::Shell::Descriptor> kept;
  std::optional<StdioLink> link;
  int ends = 0;
};

}  // namespace

TEST_F(StdioLinkTest, WorksOverPipes) {
  int in[2];
  int out[2];
  ASSERT_EQ(pipe2(in, O_CLOEXEC) + pipe2(out, O_CLOEXEC), 0);
  keep(in[0]);
  keep(out[1]);
  TestPeer peer(runner, out[0], in[1]);
  start(in[0], out[1]);
  peer.send(REQUEST);
  ASSERT_TRUE(peer.waitForLines(1));
  EXPECT_EQ(peer.lines[0], ACK);
  EXPECT_EQ(ends, 0);
  peer.finishSending();
  ASSERT_TRUE(waitForEnd());
  runner.runOnce();
  EXPECT_EQ(ends, 1);
}

TEST_F(StdioLinkTest, EventsAfterTheEndOfTheInputStillGoOut) {
  int in[2];
  int out[2];
  ASSERT_EQ(pipe2(in, O_CLOEXEC) + pipe2(out, O_CLOEXEC), 0);
  keep(in[0]);
  keep(out[1]);
  TestPeer peer(runner, out[0], in[1]);
  start(in[0], out[1]);
  peer.finishSending();
  ASSERT_TRUE(waitForEnd());
  ASSERT_TRUE(echo.last().tell("cancelled"_s).isSuccess());
  link->stop();
  link->stop();
  ASSERT_TRUE(peer.waitForLines(2));
  EXPECT_NE(peer.lines[0].find("cancelled"), std::string::npos);
  EXPECT_NE(peer.lines[1].find("stopping"), std::string::npos);
}

TEST_F(StdioLinkTest, WorksOverOneSocketAndLeavesItsFlags) {
  int ends2[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends2), 0);
  const int input = keep(ends2[1]);
  const int output = keep(fcntl(input, F_DUPFD_CLOEXEC, 0));
  TestPeer peer(runner, ends2[0], ends2[0]);
  const int flags = fcntl(input, F_GETFL);
  start(input, output);
  peer.send(REQUEST);
  ASSERT_TRUE(peer.waitForLines(1));
  EXPECT_EQ(peer.lines[0], ACK);
  EXPECT_EQ(fcntl(input, F_GETFL), flags);
  peer.finishSending();
  ASSERT_TRUE(waitForEnd());
  EXPECT_EQ(fcntl(input, F_GETFL), flags);
}

TEST_F(StdioLinkTest, WorksOverFiles) {
  const std::string input = folder.file("in");
  const std::string output = folder.file("out");
  std::string expected;
  {
    std::ofstream file(input);
    for (int i = 0; i < 1000; ++i) {
      file << REQUEST;
      expected += ACK + "\n";
    }
  }
  start(keep(open(input.c_str(), O_RDONLY | O_CLOEXEC)),
        keep(open(output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)));
  ASSERT_TRUE(waitForEnd());
  EXPECT_EQ(contentOf(output), expected);
}

TEST_F(StdioLinkTest, WorksOverDevNull) {
  start(keep(open("/dev/null", O_RDONLY | O_CLOEXEC)), keep(open("/dev/null", O_WRONLY | O_CLOEXEC)));
  EXPECT_TRUE(echo.last().tell("x"_s).isSuccess());
  ASSERT_TRUE(waitForEnd());
}

TEST_F(StdioLinkTest, DescriptorsThatAreNotOpenAreAnEnd) {
  start(1000, 1001);
  ASSERT_TRUE(waitForEnd());
  EXPECT_EQ(ends, 1);
  EXPECT_TRUE(echo.last().tell("x"_s).isErr());
}

TEST_F(StdioLinkTest, OutputThatFailsEndsTheLinkOnce) {
  int in[2];
  ASSERT_EQ(pipe2(in, O_CLOEXEC), 0);
  keep(in[0]);
  TestPeer peer(runner, -1, in[1]);
  start(in[0], keep(open("/dev/full", O_WRONLY | O_CLOEXEC)));
  peer.send(REQUEST);
  ASSERT_TRUE(waitForEnd());
  peer.finishSending();
  runner.runOnce();
  EXPECT_EQ(ends, 1);
}

TEST_F(StdioLinkTest, LinkMayBeDestroyedWhenItEnds) {
  int in[2];
  ASSERT_EQ(pipe2(in, O_CLOEXEC), 0);
  keep(in[0]);
  TestPeer peer(runner, -1, in[1]);
  start(in[0], keep(open("/dev/null", O_WRONLY | O_CLOEXEC)));
  link->onEnded([this] {
    link.reset();
    runner.somethingHappened();
  });
  peer.send("x\n");
  peer.finishSending();
  ASSERT_TRUE(runner.runUntil([this] { return !link.has_value(); }));
  EXPECT_EQ(echo.last().stops, 1);
}

TEST_F(StdioLinkTest, WorksOnATerminalAndLeavesItsFlags) {
  int master = -1;
  int terminal = -1;
  termios raw{};
  cfmakeraw(&raw);
  ASSERT_EQ(openpty(&master, &terminal, nullptr, &raw, nullptr), 0);
  keep(terminal);
  TestPeer peer(runner, master, master);
  const int flags = fcntl(terminal, F_GETFL);
  start(terminal, terminal);
  peer.send(REQUEST);
  ASSERT_TRUE(peer.waitForLines(1));
  EXPECT_EQ(peer.lines[0], ACK);
  EXPECT_EQ(fcntl(terminal, F_GETFL), flags);
}

TEST_F(StdioLinkTest, TerminalThatIsNotReadBlocksNothing) {
  int master = -1;
  int terminal = -1;
  ASSERT_EQ(openpty(&master, &terminal, nullptr, nullptr, nullptr), 0);
  keep(terminal);
  keep(master);
  start(terminal, terminal);
  for (int i = 0; i < 10000; ++i) ASSERT_TRUE(echo.last().tell("x"_s).isSuccess());
  runner.runOnce();
}

TEST_F(StdioLinkTest, TerminalThatHangsUpIsAnEnd) {
  int master = -1;
  int terminal = -1;
  ASSERT_EQ(openpty(&master, &terminal, nullptr, nullptr, nullptr), 0);
  keep(terminal);
  start(terminal, terminal);
  close(master);
  ASSERT_TRUE(waitForEnd());
}
