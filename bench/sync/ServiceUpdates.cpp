// SPDX-License-Identifier: Apache-2.0
#include "bench/sync/ServiceUpdates.h"

#include <algorithm>
#include <vector>

#include "bench/sync/Device.h"
#include "bench/sync/Rounds.h"
#include "bench/sync/SyncRequest.h"

using KX::NMS::Discovery::Node;
using KX::NMS::Discovery::NodeStatus;
using KX::NMS::Discovery::Service;

namespace {

// What a scan has found on a node: equal to what is known of it, in texts of its own.
struct Findings {
  explicit Findings(const Node& node) : ipAddress(node.ipAddress().view()), model(node.model().view()) {
    for (const auto& entry : node.services()) {
      const String name(entry.key.view());
      services.set(name, {name, entry.value.port});
    }
  }

  String ipAddress;
  String model;
  KXStringHashTable<Service> services;
};

// Calls with the findings about every node of a list. A scan has an answer at hand, and not yet the node, when it
// calls: so the findings are made a few at a time, and of another list.
template <class Call>
double forFindings(const KX::NMS::Discovery::Repository& scanned, const Call& call) {
  constexpr std::size_t AT_ONCE = 50;
  const auto& nodes = scanned.getNodes();
  return nanoseconds([&] {
    double total = 0;
    std::vector<Findings> findings;
    findings.reserve(AT_ONCE);
    for (std::size_t first = 0; first < nodes.size(); first += AT_ONCE) {
      findings.clear();
      for (std::size_t i = first; i < std::min<std::size_t>(first + AT_ONCE, nodes.size()); ++i) {
        findings.emplace_back(*nodes[i]);
      }
      total += timed([&] {
        for (const Findings& found : findings) call(found);
      });
    }
    return total;
  });
}

}  // namespace

double updateServices(std::size_t nodes) {
  Device device;
  Device scanned;
  device.receive(syncRequest(nodes));
  scanned.receive(syncRequest(nodes));
  const double time = forFindings(scanned.repository, [&](const Findings& found) {
    static_cast<void>(device.repository.setDiscoveredServices(found.ipAddress, found.services, found.model, String()));
  });
  const auto& all = device.repository.getNodes();
  require(std::none_of(all.begin(), all.end(), [](const auto& node) { return node->hasRecentlyDiscoveredServices(); }),
          "an update marks a node that does not change");
  return time;
}

double lookUp(std::size_t nodes) {
  Device device;
  Device scanned;
  device.receive(syncRequest(nodes));
  scanned.receive(syncRequest(nodes));
  bool isUp = true;
  const double time = forFindings(scanned.repository, [&](const Findings& found) {
    isUp = isUp && device.repository.getNodeByIpAddress(found.ipAddress)->status() == NodeStatus::UP;
  });
  require(isUp, "a node that is not the one that is looked for");
  return time;
}

double compareTexts(std::size_t nodes) {
  Device device;
  device.receive(syncRequest(nodes));
  return nanoseconds([&] {
    std::size_t equal = 0;
    const double time = timed([&] {
      for (const auto& node : device.repository.getNodes()) {
        const String before = node->toPropertyValue(Node::WithServices).toJson();
        const String after = node->toPropertyValue(Node::WithServices).toJson();
        if (before == after) ++equal;
      }
    });
    require(equal == nodes, "the texts of a node differ");
    return time;
  });
}
