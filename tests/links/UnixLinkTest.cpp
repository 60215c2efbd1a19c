// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <optional>

#include "links/UnixLink.h"
#include "platform/monitor/Monitor.h"
#include "platform/testing/LogCapture.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/links/TestPeer.h"
#include "tests/platform/service/EchoService.h"

using namespace KX::NMS;

namespace {

const std::string REQUEST = "{\"kind\":\"request\",\"service\":\"echo\",\"name\":\"echo\",\"id\":1,\"data\":2}\n";
const std::string ACK = "{\"kind\":\"ack\",\"service\":\"echo\",\"name\":\"echo\",\"id\":1,\"data\":2}";

std::string request(const std::string& name, const std::string& rest) {
  return R"({"kind":"request","service":"echo","name":")" + name + "\",\"id\":1" + rest + "}\n";
}

class UnixLinkTest : public testing::Test {
 protected:
  UnixLinkTest() {
    echo.onCreated = [this](EchoService& service) { service.onStopped = [this] { runner.somethingHappened(); }; };
    link.emplace(runner.loop, SessionOptions{.factory = echo.factory, .serviceName = "echo"_s, .monitor = &monitor},
                 String(path.c_str()));
    EXPECT_TRUE(link->start().isSuccess());
  }

  bool waitForStop() {
    return runner.runUntil([this] { return !echo.services.empty() && echo.last().stops == 1; });
  }
  std::unique_ptr<TestPeer> connect(bool reads = true) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(::connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return std::make_unique<TestPeer>(runner, descriptor, descriptor, reads);
  }
  // Connected, and served.
  std::unique_ptr<TestPeer> connectAndAsk() {
    auto peer = connect();
    peer->send(REQUEST);
    EXPECT_TRUE(peer->waitForLines(1));
    EXPECT_EQ(peer->lines.empty() ? "" : peer->lines[0], ACK);
    return peer;
  }

  KX::Testing::LogCapture log;
  RTD::Monitor monitor{"link"_s, 0, log};
  LoopRunner runner;
  EchoFactory echo;
  TemporaryFolder folder;
  std::string path = folder.file("socket");
  std::optional<UnixLink> link;
};

}  // namespace

namespace {

// The link on a loop whose timers run in simulated time, while its descriptors are those of the real one.
class UnixLinkTimeTest : public UnixLinkTest {
 protected:
  UnixLinkTimeTest() {
    link.emplace(loop, SessionOptions{.factory = echo.factory, .serviceName = "echo"_s, .monitor = &monitor},
                 String(path.c_str()));
    EXPECT_TRUE(link->start().isSuccess());
  }
  ~UnixLinkTimeTest() override { link.reset(); }

  class MixedLoop final : public KXEventLoop {
   public:
    explicit MixedLoop(KXEventLoop& real) : real_(real) {}
    void run() override { real_.run(); }
    void stop() override { real_.stop(); }
    void post(Handler task) override { real_.post(std::move(task)); }
    std::unique_ptr<KX::TimeoutEvent> createTimeoutEvent(unsigned priority, Handler handler) override {
      return time.createTimeoutEvent(priority, std::move(handler));
    }
    std::unique_ptr<KX::WatchEvent> createDescriptorEvent(int descriptor, unsigned readiness,
                                                          std::function<void(unsigned)> handler) override {
      return real_.createDescriptorEvent(descriptor, readiness, std::move(handler));
    }
    std::unique_ptr<KX::WatchEvent> createSignalEvent(int signal, Handler handler) override {
      return real_.createSignalEvent(signal, std::move(handler));
    }
    KX::Clock now() const override { return time.now(); }

    KX::Testing::VirtualEventLoop time;

   private:
    KXEventLoop& real_;
  };
  MixedLoop loop{runner.loop};
};

}  // namespace

TEST_F(UnixLinkTimeTest, ANewPeerTakesOverFromOneThatIsSilentInTheMiddleOfALine) {
  const auto silent = connectAndAsk();
  silent->send("{\"kind\":");
  runner.runOnce();
  loop.time.advance(std::chrono::milliseconds(29'999));
  EXPECT_TRUE(connect()->waitForEnd());
  loop.time.advance(std::chrono::milliseconds(1));
  const auto next = connectAndAsk();
  EXPECT_TRUE(silent->waitForEnd());
  ASSERT_EQ(echo.services.size(), 2U);
  EXPECT_EQ(echo.services[0]->stops, 1);
  EXPECT_TRUE(log.has("[link] Connection failed: The peer is silent in the middle of a message"));
}

TEST_F(UnixLinkTimeTest, APeerThatIsSilentBetweenLinesOrGoesOnInTimeStays) {
  const auto peer = connectAndAsk();
  loop.time.advance(std::chrono::hours(1));
  EXPECT_TRUE(connect()->waitForEnd());
  for (const char* piece : {"{\"kind\":", "\"request\""}) {
    peer->send(piece);
    runner.runOnce();
    loop.time.advance(std::chrono::seconds(29));
    EXPECT_TRUE(connect()->waitForEnd());
  }
  peer->send(",\"service\":\"echo\",\"name\":\"echo\",\"id\":1,\"data\":2}\n");
  EXPECT_TRUE(peer->waitForLines(2));
  EXPECT_EQ(echo.services.size(), 1U);
}

// After a command that held up the loop, for instance.
TEST_F(UnixLinkTimeTest, WhatAPeerHasSentMeanwhileKeepsIt) {
  const auto peer = connectAndAsk();
  peer->send("{");
  runner.runOnce();
  peer->send("}");
  const auto next = connect();
  loop.time.advance(std::chrono::seconds(30));
  EXPECT_TRUE(next->waitForEnd());
  EXPECT_EQ(echo.services.size(), 1U);
}

TEST_F(UnixLinkTest, ServiceIsOpenWhileAPeerIsConnected) {
  EXPECT_TRUE(echo.services.empty());
  const auto peer = connectAndAsk();
  ASSERT_EQ(echo.services.size(), 1U);
  EXPECT_TRUE(echo.last().isStarted());
  peer->close();
  ASSERT_TRUE(waitForStop());
}

TEST_F(UnixLinkTest, EachConnectionGetsAnInstanceOfItsOwn) {
  int stopsWhenCreated = 0;
  echo.onCreated = [&](EchoService&) {
    stopsWhenCreated = 0;
    for (const auto& service : echo.services) stopsWhenCreated += service->stops;
  };
  for (int i = 0; i < 20; ++i) {
    connectAndAsk()->close();
    EXPECT_EQ(stopsWhenCreated, i);
  }
  EXPECT_EQ(echo.services.size(), 20U);
}

TEST_F(UnixLinkTest, FurtherConnectionIsClosedAtOnceAndTheFirstOneStays) {
  const auto first = connectAndAsk();
  const auto second = connect();
  second->send(REQUEST);
  ASSERT_TRUE(second->waitForEnd());
  EXPECT_TRUE(second->lines.empty());
  EXPECT_EQ(echo.services.size(), 1U);
  first->send(REQUEST);
  EXPECT_TRUE(first->waitForLines(2));
}

TEST_F(UnixLinkTest, RequestsOfAPeerThatHasGoneAreHandledBeforeTheNextOneIsServed) {
  const auto first = connectAndAsk();
  int acts = 0;
  echo.last().action = [&acts] { ++acts; };
  first->send(request("act", "") + request("act", ""));
  first->close();
  connectAndAsk();
  EXPECT_EQ(acts, 2);
  EXPECT_EQ(echo.services.size(), 2U);
}

TEST_F(UnixLinkTest, PeerThatHasFinishedSendingGetsItsAnswers) {
  const auto peer = connect();
  for (int i = 0; i < 5; ++i) peer->send(request("fill", ",\"size\":1000000"));
  peer->finishSending();
  ASSERT_TRUE(peer->waitForEnd());
  // The last line is the service's own at its end.
  EXPECT_EQ(peer->lines.size(), 6U);
  EXPECT_EQ(peer->rest, "");
  connectAndAsk();
}

TEST_F(UnixLinkTest, PeerThatDoesNotReadIsDisconnectedAndTheNextOneServed) {
  const auto slow = connect(false);
  for (int i = 0; i < 20; ++i) slow->send(request("fill", ",\"size\":1000000"));
  ASSERT_TRUE(waitForStop());
  EXPECT_TRUE(log.has(RTD::OUTCOME, "[link] Connection failed: The peer does not read"));
  connectAndAsk();
}

TEST_F(UnixLinkTest, SlowPeerGetsEverythingAndItsOrder) {
  const auto slow = connect(false);
  for (int i = 0; i < 10; ++i) slow->send(request("fill", ",\"size\":" + std::to_string(1000000 + i)));
  runner.runOnce();
  slow->startReading();
  ASSERT_TRUE(slow->waitForLines(10));
  for (std::size_t i = 1; i < 10; ++i) EXPECT_EQ(slow->lines[i].size(), slow->lines[0].size() + i);
}

TEST_F(UnixLinkTest, ServiceThatCannotBeOpenedClosesTheConnection) {
  echo.result = XCode::error("Not wanted");
  const auto peer = connect();
  ASSERT_TRUE(peer->waitForEnd());
  EXPECT_TRUE(log.has(RTD::OUTCOME, "[link] Service not opened: Not wanted"));
  echo.result = XCode();
  connectAndAsk();
}

TEST_F(UnixLinkTest, StopSendsTheRestAndRemovesTheFile) {
  const auto peer = connectAndAsk();
  ASSERT_TRUE(echo.last().tell("cancelled"_s).isSuccess());
  link->stop();
  link->stop();
  EXPECT_NE(access(path.c_str(), F_OK), 0);
  link.reset();
  ASSERT_TRUE(peer->waitForEnd());
  ASSERT_EQ(peer->lines.size(), 3U);
  EXPECT_NE(peer->lines[1].find("cancelled"), std::string::npos);
  EXPECT_NE(peer->lines[2].find("stopping"), std::string::npos);
}

TEST_F(UnixLinkTest, StopClosesThePeersConnection) {
  const auto peer = connectAndAsk();
  link->stop();
  ASSERT_TRUE(peer->waitForEnd());
  link->stop();
}

TEST_F(UnixLinkTest, ServiceMayStopTheLinkAsItStarts) {
  echo.onCreated = [this](EchoService& service) { service.onStarted = [this] { link->stop(); }; };
  const auto peer = connect();
  peer->send(REQUEST);
  ASSERT_TRUE(peer->waitForEnd());
  EXPECT_EQ(echo.last().stops, 1);
  EXPECT_FALSE(echo.last().isStarted());
  for (const std::string& line : peer->lines) EXPECT_EQ(line.find("ack"), std::string::npos) << line;
}

TEST_F(UnixLinkTest, StoppedWithoutAPeerItIsJustGone) {
  link->stop();
  EXPECT_NE(access(path.c_str(), F_OK), 0);
  EXPECT_TRUE(echo.services.empty());
}

TEST_F(UnixLinkTest, RequestMayStopTheLink) {
  const auto peer = connectAndAsk();
  bool stopped = false;
  echo.last().action = [&] {
    link->stop();
    stopped = true;
  };
  peer->send(request("act", ""));
  ASSERT_TRUE(peer->waitForEnd());
  EXPECT_EQ(peer->lines.size(), 2U);
  EXPECT_TRUE(stopped);
  EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST_F(UnixLinkTest, RequestOfAPeerThatHasGoneMayStopTheLink) {
  const auto first = connectAndAsk();
  echo.last().action = [this] { link->stop(); };
  first->send(request("act", "") + REQUEST);
  first->close();
  const auto second = connect();
  ASSERT_TRUE(waitForStop());
  runner.runOnce();
  EXPECT_EQ(echo.services.size(), 1U);
}

TEST_F(UnixLinkTest, SecondLinkAtThePathIsAnError) {
  UnixLink other(runner.loop, SessionOptions{echo.factory, "echo"_s}, String(path.c_str()));
  EXPECT_EQ(other.start().toString(), (path + ": Somebody listens there").c_str());
  other.stop();
  connectAndAsk();
}

TEST_F(UnixLinkTest, PeerWaitsWhileNoDescriptorIsLeft) {
#ifdef TEST_UNDER_UBSAN
  GTEST_SKIP() << "the sanitizer looks at memory through a pipe, and takes what it cannot look at for wrong";
#endif
  const auto peer = connect();
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const int lowest = fcntl(0, F_DUPFD_CLOEXEC, 0);
  close(lowest);
  const rlimit none{static_cast<rlim_t>(lowest), before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  runner.runOnce();
  EXPECT_TRUE(echo.services.empty());
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  peer->send(REQUEST);
  EXPECT_TRUE(peer->waitForLines(1));
}
