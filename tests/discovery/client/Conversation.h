// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "discovery/client/CClient.h"
#include "discovery/scheduling/Scheduler.h"
#include "platform/service/ServiceSession.h"
#include "tests/discovery/nodescan/FakeDevice.h"

namespace KX::NMS::Discovery {

// A server in conversation with a device that has two LANs: whole messages in and out, and the wires of an agent
// between client and scheduler.
class Conversation final : private ITransport {
 public:
  Conversation() {
    device.addTwoLans();
    scheduler_->statusUpdated.connect(
        [this](Property::Value job) { static_cast<void>(client_->sendJobStatusEvent(job)); });
    EXPECT_TRUE(session_.open().isSuccess());
  }

  void sendToDevice(const std::string& message) { session_.receive(message); }
  // What the device has sent since the last call.
  std::vector<std::string> take() { return std::exchange(messages_, {}); }
  // ["command line", "its output", seconds]
  void addScript(const Property::Value& script) {
    device.shell.on(String(device.inputs.asInTheTest(script[0].toString().c_str())))
        .after(std::chrono::seconds(script[2].toIntOr(0)))
        .prints(script[1].toString());
  }

  FakeDevice device;

 private:
  XCode send(const String& message) override {
    messages_.emplace_back(message.c_str());
    return XCode();
  }

  std::vector<std::string> messages_;
  KXPtr<Scheduler> scheduler_{new Scheduler(device.loop, device.repository)};
  KXPPtr<CClient> client_{new CClient("agent"_s, device.repository, {},
                                      [this](Property::Value plan) { scheduler_->updateJobDescriptions(plan); })};
  ServiceSession session_{{client_->serviceFactory(), "discovery"_s}, *this};
};

}  // namespace KX::NMS::Discovery
