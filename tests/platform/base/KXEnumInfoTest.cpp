// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "platform/base/KXEnumInfo.h"

namespace {

enum class Light { RED, GREEN, BROKEN };

}  // namespace

template <>
const char* KXEnumInfo<Light>::VALUE_NAME(Light value) {
  if (value == Light::RED) return "red";
  return value == Light::GREEN ? "green" : nullptr;
}

namespace {

TEST(KXEnumInfoTest, NamesValues) {
  EXPECT_STREQ(KXEnumInfo<Light>::VALUE_NAME(Light::RED), "red");
  EXPECT_STREQ(KXEnumInfo<Light>::nameOrEmpty(Light::GREEN), "green");
}

TEST(KXEnumInfoTest, ValueWithoutANameIsNullOrEmpty) {
  EXPECT_EQ(KXEnumInfo<Light>::VALUE_NAME(Light::BROKEN), nullptr);
  EXPECT_STREQ(KXEnumInfo<Light>::nameOrEmpty(Light::BROKEN), "");
  EXPECT_STREQ(KXEnumInfo<Light>::nameOrEmpty(static_cast<Light>(99)), "");
}

}  // namespace
