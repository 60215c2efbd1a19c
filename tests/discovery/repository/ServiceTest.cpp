// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "discovery/repository/Service.h"
#include "tests/discovery/common/Rows.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ServiceTest, NewOneHasAnEmptyNameAndPortZero) {
  const Service service;
  EXPECT_EQ(service.name, "");
  EXPECT_EQ(service.port, 0U);
}

TEST(ServiceTest, ValueHoldsThePortAlone) {
  EXPECT_EQ((Service{"sip", 5060}.toPropertyValue().toJson()), R"({"port":5060})");
  EXPECT_EQ((Service{"ping", 0}.toPropertyValue().toJson()), R"({"port":0})");
  EXPECT_EQ((Service{"top", 65535}.toPropertyValue().toJson()), R"({"port":65535})");
}

TEST(ServiceTest, RowsAreTheNameAndBelowItThePort) {
  const Service service{"sip", 5060};
  EXPECT_THAT(rowsOf(service, {.level = 2, .column = 1}), ElementsAre("2,1 Service: sip", "3,1 Port: 5060"));
  EXPECT_THAT(rowsOf(service, {}, "Main "), ElementsAre("0,0 Main Service: sip", "1,0 Port: 5060"));
}

TEST(ServiceTest, RowsBeyondTheLimitsAreLeftOut) {
  const Service service{"sip", 5060};
  EXPECT_THAT(rowsOf(service, {.maxLevel = 1, .level = 2}), IsEmpty());
  EXPECT_THAT(rowsOf(service, {.maxColumn = 0, .column = 1}), IsEmpty());
  EXPECT_THAT(rowsOf(service, {.maxLevel = 2, .level = 2, .maxColumn = 1, .column = 1}),
              ElementsAre("2,1 Service: sip"));
}

}  // namespace
}  // namespace KX::NMS::Discovery
