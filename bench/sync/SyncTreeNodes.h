// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// A node list as one writes it without a second thought: structures of standard strings, and an index by address of
// either kind. Nothing in it depends on the JSON library. The date stays the text that it came as, which is less than
// the library does with it.
class SyncTreeNodes {
 public:
  enum class Status { UNKNOWN, DOWN, UP };
  struct Service {
    std::string name;
    std::uint16_t port = 0;
  };
  struct Node {
    std::string ipAddress;
    std::string physicalAddress;
    std::string interface;
    std::string model;
    std::string systemObjectID;
    bool supportsOnboarding = false;
    Status status = Status::UNKNOWN;
    std::string statusChangeDate;
    std::vector<Service> services;

    void addService(Service service);
  };

  // A node of a known address is not taken again.
  void add(Node node);
  const std::vector<Node>& all() const { return nodes_; }

  static Status statusNamed(std::string_view name);
  static const char* nameOf(Status status);

 private:
  std::vector<Node> nodes_;
  std::unordered_map<std::string, std::size_t> byIpAddress_;
  std::unordered_map<std::string, std::size_t> byPhysicalAddress_;
};
