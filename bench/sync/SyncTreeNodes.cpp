// SPDX-License-Identifier: Apache-2.0
#include "bench/sync/SyncTreeNodes.h"

#include <algorithm>
#include <utility>

#include "bench/sync/ServiceOrder.h"

void SyncTreeNodes::Node::addService(Service service) {
  const auto place =
      std::upper_bound(services.begin(), services.end(), serviceOrder(service.name),
                       [](std::uint32_t order, const Service& other) { return order < serviceOrder(other.name); });
  services.insert(place, std::move(service));
}

void SyncTreeNodes::add(Node node) {
  if (byPhysicalAddress_.contains(node.physicalAddress) || byIpAddress_.contains(node.ipAddress)) return;
  byIpAddress_.emplace(node.ipAddress, nodes_.size());
  byPhysicalAddress_.emplace(node.physicalAddress, nodes_.size());
  nodes_.push_back(std::move(node));
}

SyncTreeNodes::Status SyncTreeNodes::statusNamed(std::string_view name) {
  if (name == "up") return Status::UP;
  return name == "down" ? Status::DOWN : Status::UNKNOWN;
}

const char* SyncTreeNodes::nameOf(Status status) {
  switch (status) {
    case Status::UP:
      return "up";
    case Status::DOWN:
      return "down";
    default:
      return "unknown";
  }
}
