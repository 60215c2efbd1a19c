// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "platform/monitor/Monitor.h"
#include "platform/service/ServiceSession.h"
#include "platform/testing/LogCapture.h"
#include "tests/platform/service/EchoService.h"

using namespace KX::NMS;
using KX::Property::Value;

namespace {

class RecordingTransport final : public ITransport {
 public:
  XCode send(const String& message) override {
    if (result.isSuccess()) messages.emplace_back(message.view());
    return result;
  }
  std::vector<std::string> messages;
  XCode result;
};

class ServiceSessionTest : public testing::Test {
 protected:
  std::string answerTo(std::string_view message) {
    transport.messages.clear();
    session.receive(message);
    EXPECT_EQ(transport.messages.size(), 1U) << message;
    return transport.messages.empty() ? "" : transport.messages[0];
  }

  KX::Testing::LogCapture log;
  RTD::Monitor monitor{"link"_s, 0, log};
  EchoFactory echo;
  RecordingTransport transport;
  ServiceSession session{{.factory = echo.factory, .serviceName = "echo"_s, .monitor = &monitor}, transport};
};

const std::string INVALID = R"({"kind":"nak","id":null,"code":1,"reason":"Invalid message"})";

}  // namespace

TEST_F(ServiceSessionTest, OpenCreatesAndStartsAService) {
  EXPECT_FALSE(session.isOpen());
  ASSERT_TRUE(session.open().isSuccess());
  EXPECT_TRUE(session.isOpen());
  ASSERT_EQ(echo.services.size(), 1U);
  EXPECT_TRUE(echo.last().isStarted());
}

TEST_F(ServiceSessionTest, CloseStopsTheServiceAfterItsLastMessage) {
  ASSERT_TRUE(session.open().isSuccess());
  session.close();
  EXPECT_FALSE(session.isOpen());
  EXPECT_EQ(echo.last().stops, 1);
  ASSERT_EQ(transport.messages.size(), 1U);
  EXPECT_NE(transport.messages[0].find("\"stopping\""), std::string::npos);
  session.close();
  EXPECT_EQ(echo.last().stops, 1);
}

TEST_F(ServiceSessionTest, ServiceThatOutlivesItsSessionCannotSend) {
  ASSERT_TRUE(session.open().isSuccess());
  session.close();
  transport.messages.clear();
  EXPECT_TRUE(echo.last().tell("x"_s).isErr());
  EXPECT_TRUE(transport.messages.empty());
}

TEST_F(ServiceSessionTest, DestructionCloses) {
  {
    ServiceSession other({.factory = echo.factory, .serviceName = "echo"_s}, transport);
    ASSERT_TRUE(other.open().isSuccess());
  }
  EXPECT_EQ(echo.last().stops, 1);
  EXPECT_TRUE(echo.last().tell("x"_s).isErr());
}

TEST_F(ServiceSessionTest, OpenedAgainTheOldServiceIsStoppedBeforeTheNewOneIsCreated) {
  ASSERT_TRUE(session.open().isSuccess());
  int stopsWhenCreated = -1;
  echo.onCreated = [&](EchoService&) { stopsWhenCreated = echo.services.front()->stops; };
  ASSERT_TRUE(session.open().isSuccess());
  EXPECT_EQ(stopsWhenCreated, 1);
  ASSERT_EQ(echo.services.size(), 2U);
  EXPECT_FALSE(echo.services[0]->instanceName() == echo.services[1]->instanceName());
}

TEST_F(ServiceSessionTest, NewInstanceCountsItsEventsAnew) {
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(session.open().isSuccess());
    ASSERT_TRUE(echo.last().tell("x"_s).isSuccess());
    EXPECT_NE(transport.messages.back().find("\"sequence\":1}"), std::string::npos);
  }
}

TEST_F(ServiceSessionTest, CreationThatFailsClosesTheSession) {
  echo.result = XCode::error("Not wanted");
  EXPECT_EQ(session.open().toString(), "Not wanted");
  EXPECT_FALSE(session.isOpen());
  EXPECT_EQ(echo.last().stops, 0);
  EXPECT_TRUE(echo.last().tell("x"_s).isErr());
}

TEST_F(ServiceSessionTest, StartThatFailsClosesTheSession) {
  echo.onCreated = [](EchoService& service) { service.startResult = XCode::error("Cannot"); };
  EXPECT_EQ(session.open().toString(), "Cannot");
  EXPECT_FALSE(session.isOpen());
  EXPECT_EQ(echo.last().stops, 0);
}

TEST_F(ServiceSessionTest, FactoryWithoutAServiceIsAnError) {
  class NoFactory final : public ServiceFactoryIf {
    XCode createService(const String&, IChannel*, KXPPtr<CService>&) override { return XCode(); }
  } none;
  ServiceSession other({.factory = none, .serviceName = "echo"_s}, transport);
  EXPECT_EQ(other.open().toString(), "No service was created");
  EXPECT_FALSE(other.isOpen());
}

TEST_F(ServiceSessionTest, RequestIsAnsweredByTheService) {
  ASSERT_TRUE(session.open().isSuccess());
  EXPECT_EQ(answerTo(R"({"kind":"request","service":"echo","name":"echo","id":1,"data":[true]})"),
            R"({"kind":"ack","service":"echo","name":"echo","id":1,"data":[true]})");
}

TEST_F(ServiceSessionTest, LineMayEndInACarriageReturn) {
  ASSERT_TRUE(session.open().isSuccess());
  EXPECT_EQ(answerTo("{\"kind\":\"request\",\"service\":\"echo\",\"name\":\"refuse\",\"id\":1}\r"),
            R"({"kind":"nak","service":"echo","name":"refuse","id":1,"code":1,"reason":"Not today"})");
}

TEST_F(ServiceSessionTest, UnknownServiceIsRefused) {
  ASSERT_TRUE(session.open().isSuccess());
  EXPECT_EQ(answerTo(R"({"kind":"request","service":"ech","name":"echo","id":1})"),
            R"({"kind":"nak","service":"ech","name":"echo","id":1,"code":1,"reason":"Unknown service"})");
  EXPECT_EQ(answerTo(R"({"kind":"request","name":"echo","id":1})"),
            R"({"kind":"nak","name":"echo","id":1,"code":1,"reason":"Unknown service"})");
  EXPECT_EQ(answerTo(R"({"kind":"request","service":["echo"],"name":"echo"})"),
            R"({"kind":"nak","name":"echo","id":null,"code":1,"reason":"Unknown service"})");
}

TEST_F(ServiceSessionTest, UnknownRequestIsRefused) {
  ASSERT_TRUE(session.open().isSuccess());
  EXPECT_EQ(answerTo(R"({"kind":"request","service":"echo","name":"","id":{}})"),
            R"({"kind":"nak","service":"echo","name":"","id":{},"code":1,"reason":"Unknown request"})");
}

TEST_F(ServiceSessionTest, InvalidMessageIsRefusedAndItsFlawLogged) {
  ASSERT_TRUE(session.open().isSuccess());
  EXPECT_EQ(answerTo("[]"), INVALID);
  EXPECT_TRUE(log.has(RTD::REFUSAL, std::string(echo.last().getLogPrefix()) + "Invalid message: not an object"));
  EXPECT_EQ(answerTo("{"), INVALID);
  EXPECT_EQ(log.entries().size(), 2U);
}

TEST_F(ServiceSessionTest, InvalidMessagesChangeNothingForTheNext) {
  ASSERT_TRUE(session.open().isSuccess());
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(answerTo("}"), INVALID);
  EXPECT_EQ(answerTo(R"({"kind":"request","service":"echo","name":"echo","id":1,"data":2})"),
            R"({"kind":"ack","service":"echo","name":"echo","id":1,"data":2})");
}

TEST_F(ServiceSessionTest, TooLargeMessageIsInvalid) {
  ASSERT_TRUE(session.open().isSuccess());
  session.receiveTooLarge();
  EXPECT_EQ(transport.messages, std::vector<std::string>{INVALID});
  EXPECT_TRUE(log.has(std::string(echo.last().getLogPrefix()) + "Invalid message: more than 16777216 bytes"));
}

TEST_F(ServiceSessionTest, LimitOfAMessageIsExact) {
  ServiceSession limited({.factory = echo.factory, .serviceName = "echo"_s, .messageLimit = 60}, transport);
  ASSERT_TRUE(limited.open().isSuccess());
  std::string request = R"({"kind":"request","service":"echo","name":"refuse"})";
  request.append(60 - request.size(), ' ');
  limited.receive(request);
  EXPECT_NE(transport.messages.back().find("Not today"), std::string::npos);
  limited.receive(request + " ");
  EXPECT_EQ(transport.messages.back(), INVALID);
}

TEST_F(ServiceSessionTest, LimitOfZeroIsNone) {
  EXPECT_EQ((SessionOptions{.factory = echo.factory, .serviceName = "echo"_s, .messageLimit = 0}.limits().bytes),
            KX::Property::JsonLimits().bytes);
}

TEST_F(ServiceSessionTest, BlankMessagesAreIgnored) {
  ASSERT_TRUE(session.open().isSuccess());
  for (std::string_view blank : {"", " ", "\t \r"}) session.receive(blank);
  EXPECT_TRUE(transport.messages.empty());
}

TEST_F(ServiceSessionTest, ClosedSessionIgnoresMessages) {
  session.receive("x");
  session.receiveTooLarge();
  EXPECT_TRUE(transport.messages.empty());
}

TEST_F(ServiceSessionTest, RequestMayCloseTheSession) {
  ASSERT_TRUE(session.open().isSuccess());
  echo.last().action = [this] { session.close(); };
  EXPECT_NE(answerTo(R"({"kind":"request","service":"echo","name":"act"})").find("stopping"), std::string::npos);
  EXPECT_FALSE(session.isOpen());
}

TEST_F(ServiceSessionTest, RequestMayOpenTheSessionAnew) {
  ASSERT_TRUE(session.open().isSuccess());
  echo.last().action = [this] { static_cast<void>(session.open()); };
  session.receive(R"({"kind":"request","service":"echo","name":"act"})");
  EXPECT_EQ(echo.services.size(), 2U);
  EXPECT_NE(answerTo(R"({"kind":"request","service":"echo","name":"echo"})").find("\"ack\""), std::string::npos);
}

TEST_F(ServiceSessionTest, ErrorOfTheTransportReachesTheService) {
  ASSERT_TRUE(session.open().isSuccess());
  transport.result = XCode::error("Gone");
  EXPECT_EQ(echo.last().tell("x"_s).toString(), "Gone");
  session.receive("{");
}

TEST_F(ServiceSessionTest, InvalidBytesOfAServiceGoOutAsValidText) {
  ASSERT_TRUE(session.open().isSuccess());
  Value message = Value::object();
  message["data"] = "a\xFF\n";
  ASSERT_TRUE(echo.last().sendMessage(message).isSuccess());
  EXPECT_EQ(transport.messages.back(), "{\"data\":\"a\xEF\xBF\xBD\\n\"}");
}

TEST_F(ServiceSessionTest, SessionsOfOneProcessAreApart) {
  EchoFactory otherEcho;
  RecordingTransport otherTransport;
  ServiceSession other({.factory = otherEcho.factory, .serviceName = "echo"_s}, otherTransport);
  ASSERT_TRUE(session.open().isSuccess());
  ASSERT_TRUE(other.open().isSuccess());
  other.receive(R"({"kind":"request","service":"echo","name":"echo"})");
  EXPECT_TRUE(transport.messages.empty());
  EXPECT_EQ(otherTransport.messages.size(), 1U);
}

// Bytes out of pieces that matter to the protocol, so that many messages are nearly right.
TEST_F(ServiceSessionTest, EveryHostileMessageIsAnsweredOnceInValidJson) {
  ASSERT_TRUE(session.open().isSuccess());
  const std::string_view pieces[] = {"{",
                                     "}",
                                     "[",
                                     "]",
                                     ":",
                                     ",",
                                     "\"",
                                     "\"kind\":\"request\",",
                                     "\"service\":\"echo\",",
                                     "\"name\":\"echo\",",
                                     "\"name\":\"refuse\"",
                                     "\"id\":",
                                     "1",
                                     "1e999",
                                     "-",
                                     "\\u0000",
                                     "\\ud800",
                                     "\xFF",
                                     "\xC3",
                                     "\xE2\x82\xAC",
                                     " ",
                                     "null",
                                     std::string_view("\0", 1),
                                     "{\"kind\":\"request\",\"service\":\"echo\",\"name\":\"echo\",\"id\":",
                                     "\"data\":",
                                     "\x1B"};
  std::mt19937 random(20261120);
  std::size_t acknowledged = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string message = "x";
    if (random() % 2 == 0) message = pieces[23];
    for (auto count = random() % 8; count > 0; --count) message += pieces[random() % std::size(pieces)];
    const std::string answer = answerTo(message);
    Value parsed;
    ASSERT_TRUE(parsed.fromJson(answer).isSuccess()) << answer;
    acknowledged += parsed["kind"].toString() == "ack" ? 1U : 0U;
  }
  EXPECT_GT(acknowledged, 0U);
}
