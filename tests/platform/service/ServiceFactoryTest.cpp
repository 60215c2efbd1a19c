// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "platform/service/ServiceFactory.h"
#include "platform/testing/RecordingChannel.h"
#include "tests/platform/service/EchoService.h"

using namespace KX::NMS;

TEST(ServiceFactoryTest, CreatesAServiceAndShowsItToItsOwner) {
  EchoFactory echo;
  KX::Testing::RecordingChannel channel;
  KXPPtr<CService> service;
  EXPECT_EQ(echo.factory.serviceName(), "echo");
  EXPECT_EQ(echo.factory.direction(), Direction::OPENED_BY_SERVER);
  ASSERT_TRUE(echo.factory.createService("5"_s, &channel, service).isSuccess());
  ASSERT_EQ(echo.services.size(), 1U);
  EXPECT_EQ(service.get(), &echo.last());
  EXPECT_EQ(service->instanceName(), "5");
  EXPECT_FALSE(service->isStarted());
  EXPECT_TRUE(echo.last().tell("x"_s).isSuccess());
  EXPECT_EQ(channel.messages().size(), 1U);
}

TEST(ServiceFactoryTest, ResultIsTheHooksAndTheServiceIsHandedOutAllTheSame) {
  EchoFactory echo;
  echo.result = XCode::error("Not wanted");
  KXPPtr<CService> service;
  EXPECT_EQ(echo.factory.createService("5"_s, nullptr, service).toString(), "Not wanted");
  EXPECT_TRUE(static_cast<bool>(service));
}
