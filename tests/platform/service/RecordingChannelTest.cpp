// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "platform/testing/RecordingChannel.h"

using KX::Property::Value;
using KX::Testing::RecordingChannel;

TEST(RecordingChannelTest, KeepsMessagesAsValuesAndTexts) {
  RecordingChannel channel;
  EXPECT_FALSE(channel.last().isValid());
  Value message = Value::object();
  message["a"] = 1;
  ASSERT_TRUE(channel.sendMessage(message).isSuccess());
  message["a"] = 2;
  ASSERT_TRUE(channel.sendMessage(message).isSuccess());
  ASSERT_EQ(channel.messages().size(), 2U);
  EXPECT_EQ(channel.texts()[0], "{\"a\":1}");
  EXPECT_EQ(channel.last()["a"].toIntOr(0), 2);
  channel.clear();
  EXPECT_TRUE(channel.messages().isEmpty());
  EXPECT_TRUE(channel.texts().isEmpty());
}

TEST(RecordingChannelTest, FailsUntilToldOtherwise) {
  RecordingChannel channel;
  channel.failWith(XCode::error("Gone"));
  EXPECT_EQ(channel.sendMessage(Value::object()).toString(), "Gone");
  EXPECT_TRUE(channel.messages().isEmpty());
  channel.failWith(XCode());
  EXPECT_TRUE(channel.sendMessage(Value::object()).isSuccess());
}
