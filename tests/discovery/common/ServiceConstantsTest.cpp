// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "discovery/common/ServiceConstants.h"

namespace KX::NMS::Discovery {
namespace {

TEST(ServiceConstantsTest, ServiceIsCalledDiscoveryOnTheWire) {
  EXPECT_STREQ(SERVICE_NAME_DISCOVERY, "discovery");
  EXPECT_STREQ(SERVICE_DESC_DISCOVERY, "Node discovery");
}

}  // namespace
}  // namespace KX::NMS::Discovery
