// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "platform/testing/VirtualEventLoop.h"
#include "tools/responder/RepeatedLine.h"

namespace DeviceDiscovery::Responder {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class RepeatedLineTest : public testing::Test {
 protected:
  // What goes to the log while the time passes, after as many lines.
  std::string logged(unsigned lines, milliseconds time) {
    testing::internal::CaptureStderr();
    for (unsigned number = 1; number <= lines; ++number) line_.log(String::format("blinking for %u", number));
    loop_.advance(time);
    return testing::internal::GetCapturedStderr();
  }

  KX::Testing::VirtualEventLoop loop_;
  RepeatedLine line_{loop_};
};

TEST_F(RepeatedLineTest, TheFirstOneGoesOutAtOnce) {
  EXPECT_EQ(logged(1, seconds(59)), "discovery-responder: blinking for 1\n");
}

TEST_F(RepeatedLineTest, FurtherOnesAreOneLineAMinute) {
  EXPECT_EQ(logged(500, seconds(59)), "discovery-responder: blinking for 1\n");
  EXPECT_EQ(logged(2, seconds(1)), "discovery-responder: blinking for 2 (501 such in the last minute)\n");
  EXPECT_EQ(logged(1, seconds(60)), "discovery-responder: blinking for 1 (1 such in the last minute)\n");
}

TEST_F(RepeatedLineTest, OneThatHasBeenRareGoesOutAtOnceAgain) {
  logged(1, seconds(60));
  EXPECT_EQ(logged(1, milliseconds(0)), "discovery-responder: blinking for 1\n");
  EXPECT_EQ(logged(0, seconds(300)), "");
}

}  // namespace
}  // namespace DeviceDiscovery::Responder
