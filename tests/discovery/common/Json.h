// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <string_view>

#include "platform/property/Value.h"

namespace KX::NMS::Discovery {

// The value of a JSON text; the test fails when it is none.
inline Property::Value json(std::string_view text) {
  Property::Value value;
  const XCode result = value.fromJson(text);
  EXPECT_TRUE(result.isSuccess()) << result.toString().c_str() << " in " << text;
  return value;
}

}  // namespace KX::NMS::Discovery
