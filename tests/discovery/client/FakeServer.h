// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "discovery/client/CClient.h"
#include "platform/testing/RecordingChannel.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/discovery/common/DiscoveryLog.h"
#include "tests/discovery/common/Json.h"

namespace KX::NMS::Discovery {

// A server that has opened the discovery service of one client: requests go in, what the service sends is recorded.
// Time stands still at 2026-01-01.
class FakeServer {
 public:
  FakeServer() { connect(); }
  ~FakeServer() {
    if (service != nullptr) disconnect();
  }

  void connect() {
    ++instances_;
    KXPPtr<CService> created;
    EXPECT_TRUE(
        client->serviceFactory().createService(String::format("%d", instances_), &channel, created).isSuccess());
    service = KXPPtr<CClientDiscoveryService>(static_cast<CClientDiscoveryService*>(created.get()));
    EXPECT_TRUE(service->start().isSuccess());
  }
  void disconnect() {
    EXPECT_TRUE(service->stop().isSuccess());
    service = nullptr;
  }
  // The answer to {"name": name, members...}, as text. members begins with a comma unless it is empty.
  std::string request(const std::string& name, const std::string& members) {
    channel.clear();
    service->handleRequest(
        json(R"({"kind":"request","service":"discovery","id":1,"name":")" + name + "\"" + members + "}"));
    EXPECT_EQ(channel.texts().size(), 1U) << "every request is answered once";
    return channel.texts().isEmpty() ? "" : channel.texts()[0].c_str();
  }
  std::string sync(const std::string& nodes) { return request("syncNodes", ",\"nodes\":" + nodes); }
  // What the service sent for a job status, as text; "" when it sent nothing.
  std::string report(const std::string& job) {
    channel.clear();
    service->sendJobStatusEvent(json(job));
    return channel.texts().isEmpty() ? "" : channel.texts()[0].c_str();
  }
  std::string nodesAsText() const {
    std::string text;
    for (const auto& node : repository.getNodes()) {
      text += std::string(text.empty() ? "" : ",") + node->toPropertyValue(Node::WithServices).toJson().c_str();
    }
    return "[" + text + "]";
  }

  Testing::VirtualEventLoop loop;
  DiscoveryLog log{3};
  Repository repository;
  int connections = 0;
  std::vector<Property::Value> plans;
  KXPPtr<CClient> client{new CClient(
      "agent"_s, repository, [this] { ++connections; }, [this](Property::Value plan) { plans.push_back(plan); })};
  Testing::RecordingChannel channel;
  KXPPtr<CClientDiscoveryService> service;

 private:
  int instances_ = 0;
};

inline constexpr char ACK[] = R"({"kind":"ack","service":"discovery","name":")";

// The text of a nak with code 1.
inline std::string nak(const std::string& name, const std::string& reason) {
  return R"({"kind":"nak","service":"discovery","name":")" + name + R"(","id":1,"code":1,"reason":")" + reason + "\"}";
}
// The text of an ack with further members, which begin with a comma unless there are none.
inline std::string ack(const std::string& name, const std::string& members = "") {
  return ACK + name + R"(","id":1)" + members + "}";
}

}  // namespace KX::NMS::Discovery
