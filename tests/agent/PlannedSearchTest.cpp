// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent/PlannedSearch.h"
#include "tests/discovery/nodescan/FakeDevice.h"

namespace {

using KX::NMS::Discovery::FakeDevice;

class PlannedSearchTest : public testing::Test {
 protected:
  PlannedSearchTest() {
    device_.addTwoLans();
    for (const char* const device : {"eth1", "eth2"}) {
      device_.shell.on(FakeDevice::arpScanOf(device)).hangs();
      device_.shell.on(FakeDevice::discoveryScanOf(device)).hangs();
    }
    for (const char* const name : {"LAN1", "LAN2", "LAN1"}) {
      interfaces_.push_back({});
      interfaces_.back().name = name;
    }
  }
  // Ends the command that runs.
  void end(const char* output) {
    ASSERT_EQ(device_.shell.running().size(), 1U);
    device_.shell.end(device_.shell.running().front(), XCode(), output);
    search_->poll();
  }
  void start() {
    search_ = std::make_unique<PlannedSearch>(device_.loop, device_.repository, "scan"_s, interfaces_);
    search_->start();
  }

  FakeDevice device_;
  std::vector<InterfaceChoice> interfaces_;
  std::unique_ptr<PlannedSearch> search_;
};

TEST_F(PlannedSearchTest, InterfacesAreScannedOneAfterAnotherAndTheirNodesKnownAtOnce) {
  start();
  EXPECT_EQ(search_->stage().number, 1U);
  EXPECT_EQ(search_->stage().total, 4U);
  EXPECT_EQ(search_->stage().text, "ARP on LAN1");
  EXPECT_EQ(search_->stage().expectedSeconds, 24U);
  end("10.1.0.5\t02:00:5e:00:00:05\n");
  EXPECT_EQ(search_->stage().text, "Discovery on LAN1");
  end(R"({"nodes":[]})");
  EXPECT_EQ(device_.repository.getNodes().size(), 1U);
  EXPECT_EQ(search_->stage().number, 3U);
  EXPECT_TRUE(search_->isBusy());
  end("");
  end(R"({"nodes":[]})");
  EXPECT_TRUE(search_->hasEnded());
  ScanFailures failures;
  EXPECT_TRUE(search_->judge(failures));
  EXPECT_TRUE(failures.isEmpty());
}

TEST_F(PlannedSearchTest, CancelledItStartsNoFurtherScan) {
  start();
  search_->cancel();
  device_.loop.settle();
  search_->poll();
  EXPECT_TRUE(search_->hasEnded());
  EXPECT_TRUE(device_.shell.running().empty());
  EXPECT_EQ(device_.shell.invoked().size(), 1U);
}

}  // namespace
