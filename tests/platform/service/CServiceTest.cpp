// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "platform/monitor/Monitor.h"
#include "platform/service/CService.h"
#include "platform/testing/RecordingChannel.h"
#include "tests/platform/service/EchoService.h"

using namespace KX::NMS;
using KX::Property::Value;

namespace {

class CServiceTest : public testing::Test {
 protected:
  CServiceTest() : service(new EchoService("7"_s, &channel)) {}

  static Value request(const String& name, Value id = 1) {
    Value value = Value::object();
    value["kind"] = "request";
    value["service"] = "echo";
    value["name"] = name;
    value["id"] = id;
    return value;
  }
  std::string lastText() const {
    return channel.texts().isEmpty() ? "" : channel.texts()[channel.texts().size() - 1].c_str();
  }

  KX::Testing::RecordingChannel channel;
  KXPPtr<EchoService> service;
};

}  // namespace

TEST_F(CServiceTest, LogPrefixNamesServiceAndInstance) {
  EXPECT_EQ(service->getLogPrefix(), "[echo 7] ");
  EXPECT_EQ(service->serviceName(), "echo");
  EXPECT_EQ(service->description(), "Echoes");
  EXPECT_EQ(service->instanceName(), "7");
  EXPECT_EQ(service->monitor(), nullptr);
}

TEST_F(CServiceTest, IsFoundAsServiceThroughItsObjectBase) {
  CObject& object = *service;
  EXPECT_EQ(object.queryInterface(kxInterfaceId<CService>()), static_cast<CService*>(service.get()));
  EXPECT_EQ(object.queryInterface(kxInterfaceId<EchoService>()), nullptr);
}

TEST_F(CServiceTest, StartRegistersAndStopUnregisters) {
  ASSERT_TRUE(service->start().isSuccess());
  EXPECT_TRUE(service->isStarted());
  EXPECT_TRUE(service->hasRequestHandler("echo"_s));
  ASSERT_TRUE(service->stop().isSuccess());
  EXPECT_FALSE(service->isStarted());
  EXPECT_FALSE(service->hasRequestHandler("echo"_s));
  EXPECT_EQ(service->stops, 1);
}

TEST_F(CServiceTest, StopWithoutStartOnlyTakesTheChannelAway) {
  ASSERT_TRUE(service->stop().isSuccess());
  EXPECT_EQ(service->stops, 0);
  EXPECT_TRUE(service->tell("x"_s).isErr());
}

TEST_F(CServiceTest, SecondStopDoesNothing) {
  ASSERT_TRUE(service->start().isSuccess());
  ASSERT_TRUE(service->stop().isSuccess());
  ASSERT_TRUE(service->stop().isSuccess());
  EXPECT_EQ(service->stops, 1);
}

TEST_F(CServiceTest, StartThatFailsLeavesItStopped) {
  service->startResult = XCode::error("No");
  EXPECT_EQ(service->start().toString(), "No");
  EXPECT_FALSE(service->isStarted());
}

TEST_F(CServiceTest, StopInsideTheStartStopsIt) {
  service->onStarted = [this] { static_cast<void>(service->stop()); };
  ASSERT_TRUE(service->start().isSuccess());
  EXPECT_FALSE(service->isStarted());
  EXPECT_EQ(service->stops, 1);
  EXPECT_FALSE(service->hasRequestHandler("echo"_s));
  EXPECT_TRUE(service->tell("x"_s).isErr());
}

TEST_F(CServiceTest, MessageOfAStoppingServiceGoesOut) {
  ASSERT_TRUE(service->start().isSuccess());
  ASSERT_TRUE(service->stop().isSuccess());
  EXPECT_EQ(channel.last()["name"].toString(), "stopping");
}

TEST_F(CServiceTest, StoppedServiceCannotSend) {
  ASSERT_TRUE(service->start().isSuccess());
  ASSERT_TRUE(service->stop().isSuccess());
  channel.clear();
  EXPECT_EQ(service->sendMessage(Value::object()).toString(), "Not connected");
  service->sendNakResponse(request("echo"_s), XCode::error("x"));
  EXPECT_TRUE(channel.messages().isEmpty());
}

TEST_F(CServiceTest, ErrorOfTheChannelReachesTheSender) {
  channel.failWith(XCode::error("Full"));
  EXPECT_EQ(service->tell("x"_s).toString(), "Full");
}

TEST_F(CServiceTest, RequestReachesItsHandler) {
  ASSERT_TRUE(service->start().isSuccess());
  Value echo = request("echo"_s, "a");
  echo["data"] = "hello";
  service->handleRequest(echo);
  EXPECT_EQ(lastText(), R"({"kind":"ack","service":"echo","name":"echo","id":"a","data":"hello"})");
  EXPECT_EQ(channel.messages().size(), 1U);
}

TEST_F(CServiceTest, UnknownRequestIsRefused) {
  ASSERT_TRUE(service->start().isSuccess());
  service->handleRequest(request("dance"_s));
  EXPECT_EQ(lastText(), R"({"kind":"nak","service":"echo","name":"dance","id":1,"code":1,"reason":"Unknown request"})");
}

TEST_F(CServiceTest, NamesAreComparedInFull) {
  ASSERT_TRUE(service->start().isSuccess());
  for (const String& name : {"Echo"_s, "ech"_s, "echo "_s, ""_s, String("echo\0", 5)}) {
    service->handleRequest(request(name));
    EXPECT_EQ(channel.last()["reason"].toString(), "Unknown request");
  }
}

TEST_F(CServiceTest, ErrorOfAHandlerIsSentAsNak) {
  ASSERT_TRUE(service->start().isSuccess());
  service->handleRequest(request("refuse"_s));
  EXPECT_EQ(lastText(), R"({"kind":"nak","service":"echo","name":"refuse","id":1,"code":1,"reason":"Not today"})");
  EXPECT_EQ(channel.messages().size(), 1U);
}

TEST_F(CServiceTest, RefusalByTheHandlerItselfIsTheOnlyAnswer) {
  service->registerRequestHandler("own"_s, [this](const Value& value) {
    service->sendNakResponse(value, XCode(XCode::GENERIC_ERROR));
    return XCode();
  });
  service->handleRequest(request("own"_s));
  EXPECT_EQ(lastText(), R"({"kind":"nak","service":"echo","name":"own","id":1,"code":1,"reason":"Error"})");
  EXPECT_EQ(channel.messages().size(), 1U);
}

TEST_F(CServiceTest, LastRegisteredHandlerCounts) {
  service->registerRequestHandler("x"_s, [](const Value&) { return XCode::error("first"); });
  service->registerRequestHandler("x"_s, [](const Value&) { return XCode::error("second"); });
  service->handleRequest(request("x"_s));
  EXPECT_EQ(channel.last()["reason"].toString(), "second");
}

TEST_F(CServiceTest, EmptyHandlerIsNoHandler) {
  service->registerRequestHandler("x"_s, {});
  service->handleRequest(request("x"_s));
  EXPECT_EQ(channel.last()["reason"].toString(), "Unknown request");
}

TEST_F(CServiceTest, HandlerMayUnregisterItself) {
  const String marker("still here");
  service->registerRequestHandler("x"_s, [this, marker](const Value&) {
    service->unregisterRequestHandler("x"_s);
    return XCode::error(marker);
  });
  service->handleRequest(request("x"_s));
  EXPECT_EQ(channel.last()["reason"].toString(), "still here");
  service->handleRequest(request("x"_s));
  EXPECT_EQ(channel.last()["reason"].toString(), "Unknown request");
}

TEST_F(CServiceTest, HandlerMayStopTheService) {
  ASSERT_TRUE(service->start().isSuccess());
  service->action = [this] { static_cast<void>(service->stop()); };
  service->handleRequest(request("act"_s));
  EXPECT_EQ(channel.last()["name"].toString(), "stopping");
}

TEST_F(CServiceTest, EventsAreNumberedPerInstance) {
  ASSERT_TRUE(service->tell("tick"_s).isSuccess());
  EXPECT_EQ(lastText(), R"({"kind":"event","service":"echo","name":"tick","version":1,"sequence":1})");
  ASSERT_TRUE(service->tell("tock"_s).isSuccess());
  EXPECT_EQ(lastText(), R"({"kind":"event","service":"echo","name":"tock","version":1,"sequence":2})");
  const KXPPtr<EchoService> other(new EchoService("8"_s, &channel));
  ASSERT_TRUE(other->tell("tick"_s).isSuccess());
  EXPECT_EQ(channel.last()["sequence"].toIntOr(0), 1);
}

TEST_F(CServiceTest, PreparingReplacesWhatWasThere) {
  Value message = Value::object();
  message["old"] = 1;
  service->prepareEvent(message, "tick"_s, 3);
  EXPECT_FALSE(message["old"].isValid());
  EXPECT_EQ(message["version"].toIntOr(0), 3);
  service->prepareAckResponse(message, request("echo"_s));
  EXPECT_FALSE(message["version"].isValid());
}

TEST_F(CServiceTest, ARequestThatItsHandlerDropsIsUnset) {
  bool wasObject = false;
  bool isValid = true;
  service->registerRequestHandler("drop"_s, [&](const Value& given) {
    wasObject = given.isObject();
    service->dropRequest();
    isValid = given.isValid();
    return XCode();
  });
  const Value kept = request("drop"_s);
  service->handleRequest(kept);
  EXPECT_TRUE(wasObject);
  EXPECT_FALSE(isValid);
  EXPECT_EQ(kept["name"].toString(), "drop");
  service->dropRequest();
}
