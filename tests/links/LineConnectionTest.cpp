// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <thread>

#include "links/LineConnection.h"
#include "platform/process/Descriptor.h"
#include "platform/property/Value.h"
#include "tests/links/TestPeer.h"
#include "tests/platform/service/EchoService.h"

using namespace KX::NMS;

namespace {

class LineConnectionTest : public testing::Test {
 protected:
  LineConnectionTest() {
    int pair[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
    peer.emplace(runner, pair[0], pair[0]);
    socket = pair[1];
    connect(SessionOptions::DEFAULT_MESSAGE_LIMIT);
  }
  ~LineConnectionTest() override {
    connection.reset();
    close(socket);
  }
  void connect(std::size_t limit) {
    const auto count = [this](int& counter) {
      return [this, &counter] {
        ++counter;
        runner.somethingHappened();
      };
    };
    connection.emplace(runner.loop, SessionOptions{echo.factory, "echo"_s, limit, nullptr}, socket, socket,
                       LineConnection::Handlers{count(ends), count(failures), count(drains)});
  }
  static std::string request(const std::string& name, const std::string& rest) {
    return R"({"kind":"request","service":"echo","name":")" + name + "\"," + rest + "}\n";
  }
  static std::string ack(const std::string& name, const std::string& rest) {
    return R"({"kind":"ack","service":"echo","name":")" + name + "\"," + rest + "}";
  }

  const std::string invalid = R"({"kind":"nak","id":null,"code":1,"reason":"Invalid message"})";
  LoopRunner runner;
  EchoFactory echo;
  std::optional<TestPeer> peer;
  int socket = -1;
  std::optional<LineConnection> connection;
  int ends = 0;
  int failures = 0;
  int drains = 0;
};

}  // namespace

TEST_F(LineConnectionTest, RequestsAreAnsweredInTheirOrder) {
  ASSERT_TRUE(connection->start().isSuccess());
  peer->send(request("echo", R"("id":1,"data":"a")") + "\n  \r\nx\n" + request("echo", R"("id":2,"data":"b")"));
  ASSERT_TRUE(peer->waitForLines(3));
  EXPECT_EQ(peer->lines, (std::vector<std::string>{ack("echo", R"("id":1,"data":"a")"), invalid,
                                                   ack("echo", R"("id":2,"data":"b")")}));
}

TEST_F(LineConnectionTest, BytesMayComeOneByOne) {
  ASSERT_TRUE(connection->start().isSuccess());
  for (char c : request("echo", R"("id":1,"data":"é")")) {
    EXPECT_TRUE(peer->lines.empty());
    peer->send(std::string_view(&c, 1));
    runner.runOnce();
  }
  ASSERT_TRUE(peer->waitForLines(1));
  EXPECT_EQ(peer->lines[0], ack("echo", R"("id":1,"data":"é")"));
}

TEST_F(LineConnectionTest, HundredThousandLinesAtOnceAreAllAnswered) {
  ASSERT_TRUE(connection->start().isSuccess());
  std::string lines;
  for (int i = 0; i < 100000; ++i) lines += request("echo", "\"id\":" + std::to_string(i) + ",\"data\":0");
  peer->send(lines);
  ASSERT_TRUE(peer->waitForLines(100000));
  for (int i = 0; i < 100000; ++i) {
    ASSERT_EQ(peer->lines[static_cast<std::size_t>(i)], ack("echo", "\"id\":" + std::to_string(i) + ",\"data\":0"));
  }
  EXPECT_EQ(failures, 0);
}

TEST_F(LineConnectionTest, LineAboveTheLimitIsRefusedInItsTurn) {
  connect(100);
  ASSERT_TRUE(connection->start().isSuccess());
  std::string exact = request("echo", R"("id":1,"data":2)");
  exact.insert(0, 101 - exact.size(), ' ');
  peer->send(exact + " " + exact + std::string(1000000, 'x') + "\n" + exact);
  ASSERT_TRUE(peer->waitForLines(4));
  const std::string good = ack("echo", R"("id":1,"data":2)");
  EXPECT_EQ(peer->lines, (std::vector<std::string>{good, invalid, invalid, good}));
}

TEST_F(LineConnectionTest, MessageOfTheDefaultLimitIsTakenAndOneByteMoreIsNot) {
  ASSERT_TRUE(connection->start().isSuccess());
  const std::string frame = request("refuse", R"("id":1,"data":"")");
  std::string exact = frame;
  exact.insert(exact.size() - 3, (std::size_t{16} << 20U) - (frame.size() - 1), 'x');
  peer->send(exact);
  exact.insert(exact.size() - 3, "x");
  peer->send(exact);
  ASSERT_TRUE(peer->waitForLines(2));
  EXPECT_NE(peer->lines[0].find("Not today"), std::string::npos);
  EXPECT_EQ(peer->lines[1], invalid);
}

TEST_F(LineConnectionTest, LastLineNeedsNoEnd) {
  ASSERT_TRUE(connection->start().isSuccess());
  std::string last = request("echo", R"("id":1,"data":2)");
  last.pop_back();
  peer->send(last);
  peer->finishSending();
  ASSERT_TRUE(peer->waitForLines(1));
  ASSERT_TRUE(runner.runUntil([this] { return ends > 0; }));
  EXPECT_EQ(peer->lines[0], ack("echo", R"("id":1,"data":2)"));
}

TEST_F(LineConnectionTest, EndOfInputIsToldOnceAndTheServiceStaysOpen) {
  ASSERT_TRUE(connection->start().isSuccess());
  peer->finishSending();
  ASSERT_TRUE(runner.runUntil([this] { return ends > 0; }));
  runner.runOnce();
  EXPECT_EQ(ends, 1);
  EXPECT_EQ(echo.last().stops, 0);
  ASSERT_TRUE(echo.last().tell("late"_s).isSuccess());
  ASSERT_TRUE(peer->waitForLines(1));
}

TEST_F(LineConnectionTest, StopStopsTheServiceAndSendsTheRest) {
  ASSERT_TRUE(connection->start().isSuccess());
  ASSERT_TRUE(echo.last().tell("job cancelled"_s).isSuccess());
  connection->stop();
  EXPECT_EQ(echo.last().stops, 1);
  ASSERT_TRUE(peer->waitForLines(2));
  EXPECT_NE(peer->lines[0].find("job cancelled"), std::string::npos);
  EXPECT_NE(peer->lines[1].find("stopping"), std::string::npos);
}

TEST_F(LineConnectionTest, StopWaitsForAReaderThatIsStillReading) {
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
  KX::Shell::Descriptor mine(pair[1]);
  LineConnection wide(runner.loop, SessionOptions{echo.factory, "echo"_s}, pair[1], pair[1], {[] {}, [] {}});
  ASSERT_TRUE(wide.start().isSuccess());
  KX::Property::Value large = KX::Property::Value::object();
  large["data"] = String(std::string(5000000, 'x'));
  ASSERT_TRUE(echo.last().sendMessage(large).isSuccess());
  ASSERT_GT(wide.unsent(), 0U);
  std::string received;
  std::thread reader([&received, theirs = pair[0]] {
    std::string bytes(65536, '\0');
    for (ssize_t length = 1; length > 0;) {
      length = read(theirs, bytes.data(), bytes.size());
      if (length > 0) received.append(bytes, 0, static_cast<std::size_t>(length));
    }
    close(theirs);
  });
  wide.stop();
  EXPECT_EQ(wide.unsent(), 0U);
  // The end for the reader, whatever the loop still holds of the descriptor until its next turn.
  ASSERT_EQ(shutdown(pair[1], SHUT_RDWR), 0);
  reader.join();
  EXPECT_GT(received.size(), 5000000U);
  EXPECT_NE(received.find("stopping"), std::string::npos);
}

TEST_F(LineConnectionTest, RequestMayStopTheConnection) {
  ASSERT_TRUE(connection->start().isSuccess());
  echo.last().action = [this] { connection->stop(); };
  peer->send(request("act", "\"id\":1") + request("echo", "\"id\":2"));
  ASSERT_TRUE(peer->waitForLines(1));
  runner.runOnce();
  EXPECT_EQ(peer->lines.size(), 1U);
  EXPECT_EQ(ends + failures, 0);
}

TEST_F(LineConnectionTest, ConnectionThatItsOwnStartStopsReadsNothing) {
  echo.onCreated = [this](EchoService& service) { service.onStarted = [this] { connection->stop(); }; };
  ASSERT_TRUE(connection->start().isSuccess());
  EXPECT_EQ(echo.last().stops, 1);
  peer->send(request("echo", R"("id":1,"data":2)"));
  runner.runOnce();
  char byte = 0;
  EXPECT_EQ(recv(socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT), 1);
}

TEST_F(LineConnectionTest, PeerThatDoesNotReadEndsTheConnection) {
  peer->stopReading();
  ASSERT_TRUE(connection->start().isSuccess());
  for (int i = 0; i < 18; ++i) peer->send(request("fill", "\"id\":1,\"size\":1000000"));
  ASSERT_TRUE(runner.runUntil([this] { return failures > 0; }));
  EXPECT_EQ(failures, 1);
  EXPECT_EQ(connection->unsent(), 0U);
}

TEST_F(LineConnectionTest, CreationThatFailsFailsTheStart) {
  echo.result = XCode::error("Not wanted");
  EXPECT_EQ(connection->start().toString(), "Not wanted");
}

TEST_F(LineConnectionTest, ManyConnectionsShareOneLoop) {
  struct Client {
    Client(LoopRunner& runner, EchoFactory& echo) {
      int pair[2];
      EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
      mine = KX::Shell::Descriptor(pair[1]);
      peer.emplace(runner, pair[0], pair[0]);
      connection.emplace(runner.loop, SessionOptions{echo.factory, "echo"_s}, pair[1], pair[1],
                         LineConnection::Handlers{[] {}, [] {}});
      EXPECT_TRUE(connection->start().isSuccess());
    }
    KX::Shell::Descriptor mine;
    std::optional<TestPeer> peer;
    std::optional<LineConnection> connection;
  };
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 300; ++i) clients.push_back(std::make_unique<Client>(runner, echo));
  for (auto& client : clients) client->peer->send(request("echo", "\"id\":1"));
  for (auto& client : clients) ASSERT_TRUE(client->peer->waitForLines(1));
}

TEST_F(LineConnectionTest, EveryLineOfHostileBytesIsAnsweredOnce) {
  ASSERT_TRUE(connection->start().isSuccess());
  std::mt19937 random(42);
  std::string stream;
  std::size_t expected = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string line;
    bool isBlank = true;
    for (auto count = random() % 12; count > 0; --count) {
      const std::string_view likely = " \t\r{}[]\":,0\\";
      const char c = random() % 4 == 0 ? static_cast<char>(random() % 256) : likely[random() % likely.size()];
      if (c == '\n') continue;
      isBlank = isBlank && (c == ' ' || c == '\t' || c == '\r');
      line += c;
    }
    stream += line + "\n";
    expected += isBlank ? 0U : 1U;
  }
  stream += request("echo", R"("id":"last","data":0)");
  while (!stream.empty()) {
    const std::size_t piece = random() % 5000;
    peer->send(stream.substr(0, piece));
    stream.erase(0, piece);
  }
  ASSERT_TRUE(peer->waitForLines(expected + 1));
  EXPECT_EQ(peer->lines.size(), expected + 1);
  for (std::size_t i = 0; i < expected; ++i) {
    KX::Property::Value answer;
    ASSERT_TRUE(answer.fromJson(peer->lines[i]).isSuccess());
    ASSERT_EQ(answer["reason"].toString(), "Invalid message");
  }
  EXPECT_EQ(peer->lines.back(), ack("echo", R"("id":"last","data":0)"));
}
