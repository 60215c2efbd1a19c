// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "discovery/scans/Scan.h"
#include "platform/testing/FakeShell.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/discovery/common/DiscoveryLog.h"

namespace KX::NMS::Discovery {

// Keeps what it is given to parse and answers as it is told.
class RecordingParser final : public ScanOutputParser {
 public:
  [[nodiscard]] XCode parseScanOutput(Property::Value& result, const String& output) const override {
    wasUnset = !result.isValid();
    outputs.emplace_back(output.view());
    result["parsed"] = output;
    return answer;
  }

  XCode answer;
  mutable std::vector<std::string> outputs;
  mutable bool wasUnset = false;
};

// A scan of the command "scan eth0" on a scripted shell.
class ScanFixture : public testing::Test {
 protected:
  static constexpr const char* COMMAND = "scan eth0";

  KXPtr<Scan> makeScan() { return KXPtr<Scan>(new Scan(loop_, "nightly.3", "ARP", "LAN", COMMAND, parser_)); }
  // Connected, invoked, and with nothing logged or counted so far.
  void startScan() {
    scan_ = makeScan();
    connect();
    scan_->invoke();
    ASSERT_EQ(scan_->status().state(), State::RUNNING);
    log_.clear();
    states_.clear();
  }
  void connect() {
    scan_->statusUpdated.connect(
        Function<void()>([this, scan = scan_.get()] { states_.emplace_back(scan->status().stateName()); }));
  }
  XCode end(const XCode& code, const String& rest = String()) {
    return shell_.end(COMMAND, code, rest) ? XCode() : XCode(1);
  }

  DiscoveryLog log_;
  Testing::VirtualEventLoop loop_;
  Testing::FakeShell shell_{loop_};
  RecordingParser parser_;
  // The scan's state at each emission of its signal, the one at its destruction included.
  std::vector<std::string> states_;
  KXPtr<Scan> scan_;
};

}  // namespace KX::NMS::Discovery
