// SPDX-License-Identifier: Apache-2.0
// What the node list costs: a sync from text in to text out, exports, service updates, removals, and memory. Beside the
// sync stand the least that a program of this kind needs for it, and what one would write by hand with a JSON library.
// Each figure is the median of several rounds.
//   sync-bench                      everything
//   sync-bench limit                the sync beside its limit alone
//   sync-bench peers                the same and the programs by hand
//   sync-bench warm                 the sync beside its limit on a heap that keeps what it got
//   sync-bench memory               the memory alone, which an emulator can measure as well
//   sync-bench sync|export [NODES]  one thing for two seconds, for a profiler
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "bench/sync/Allocations.h"
#include "bench/sync/Device.h"
#include "bench/sync/Rounds.h"
#include "bench/sync/ServiceUpdates.h"
#include "bench/sync/SyncContest.h"
#include "bench/sync/SyncProgram.h"
#include "bench/sync/SyncRequest.h"

namespace {

using KX::NMS::Discovery::CClientDiscoveryService;
using KX::NMS::Discovery::NodeStatus;

constexpr std::size_t LARGEST = 100000;

using Figures = std::vector<double>;

template <class Measure>
Figures perNode(const char* what, const Measure& measure) {
  Figures figures;
  for (const std::size_t size : SIZES) figures.push_back(measure(size) / static_cast<double>(size));
  printRow(what, figures);
  return figures;
}

// Of nodes that are known already, as when a link comes back.
double syncAgain(std::size_t size) {
  const String request = syncRequest(size);
  Device device;
  device.receive(request);
  return nanoseconds([&] { return timed([&] { device.receive(request); }); });
}

double exportAll(std::size_t size) {
  Device device;
  device.receive(syncRequest(size));
  return nanoseconds(
      [&] { return timed([&] { static_cast<void>(device.service().exportNodes(CClientDiscoveryService::All)); }); });
}

// Ten nodes far apart that changed, among all. In nanoseconds altogether.
double exportTen(std::size_t size) {
  Device device;
  device.receive(syncRequest(size));
  NodeStatus status = NodeStatus::UP;
  return nanoseconds([&] {
    status = status == NodeStatus::UP ? NodeStatus::DOWN : NodeStatus::UP;
    for (std::size_t i = 0; i < 10; ++i) {
      const String ipAddress = device.repository.getNodes()[(i * 7 + 3) % 10 * size / 10]->ipAddress();
      static_cast<void>(device.repository.setStatus(ipAddress, status, nullptr, nullptr));
    }
    std::size_t exported = 0;
    const double time =
        timed([&] { exported = device.service().exportNodes(CClientDiscoveryService::ChangesOnly).size(); });
    require(exported == 10, "other changes than those made");
    return time;
  });
}

std::vector<String> addresses(const Device& device) {
  std::vector<String> result;
  for (const auto& node : device.repository.getNodes()) result.push_back(node->ipAddress());
  return result;
}

template <class Order>
double removeAll(std::size_t size, const Order& order) {
  const String request = syncRequest(size);
  return nanoseconds([&] {
    Device device;
    device.receive(request);
    std::vector<String> all = addresses(device);
    order(all);
    const double time = timed([&] {
      for (const String& ipAddress : all) device.repository.removeNode(ipAddress);
    });
    require(device.repository.getNodes().isEmpty(), "nodes are left");
    return time;
  });
}

void shuffle(std::vector<String>& all) {
  std::uint32_t random = 1;
  for (std::size_t i = all.size(); i > 1; --i) {
    random = random * 1664525U + 1013904223U;
    std::swap(all[i - 1], all[random % i]);
  }
}

// What is kept when the answer is gone, and the most beyond that. The call gives the length of the answer that it
// leaves.
template <class Call, class Drop>
void printMemoryOf(const String& request, const Call& call, const Drop& dropAnswer) {
  Allocations::begin();
  const auto answer = static_cast<double>(call());
  dropAnswer();
  const auto kept = static_cast<double>(Allocations::now());
  const auto peak = static_cast<double>(Allocations::peak());
  Allocations::end();
  const auto text = static_cast<double>(request.length());
  std::printf("  bytes a node, kept                       %9.1f\n", kept / static_cast<double>(LARGEST));
  std::printf("  a sync's most beyond that, times its text %8.2f (of which the answer %.2f)\n", (peak - kept) / text,
              answer / text);
}

void printMemory() {
  const String request = syncRequest(LARGEST);
  std::printf("\nmemory at %zu nodes\n", LARGEST);
  Device device;
  const auto receive = [&] {
    device.receive(request);
    return device.sent().length();
  };
  printMemoryOf(request, receive, [&] { device.dropSent(); });
  for (const SyncPeer& peer : syncPeers()) {
    const std::unique_ptr<SyncProgram> program = peer.make();
    std::string answer;
    const auto sync = [&] { return (answer = program->sync(request)).size(); };
    std::printf("by hand with %s\n", peer.name);
    printMemoryOf(request, sync, [&] { answer = std::string(); });
  }
}

void printHeader() { std::printf("%-44s %9s %9s %9s %10s\n", "nanoseconds a node", "1k", "10k", "100k", "growth"); }

void printTimes() {
  printHeader();
  printSync(syncPeers(), false);
  perNode("sync of known nodes", syncAgain);
  const Figures full = perNode("export of all", exportAll);
  perNode("service update without a change", updateServices);
  perNode("  of which to find the node", lookUp);
  perNode("the two texts that a comparison would need", compareTexts);
  perNode("removal, oldest first", [](std::size_t size) { return removeAll(size, [](auto&) {}); });
  perNode("removal, newest first",
          [](std::size_t size) { return removeAll(size, [](auto& all) { std::reverse(all.begin(), all.end()); }); });
  perNode("removal, in no order", [](std::size_t size) { return removeAll(size, shuffle); });
  const double ten = exportTen(LARGEST);
  std::printf("changes-only export of 10 among %zu: %.1f us, %.3f %% of a full one\n", LARGEST, ten / 1e3,
              100 * ten / (full[2] * static_cast<double>(LARGEST)));
}

// One thing again and again, for a profiler.
void repeat(std::string_view what, std::size_t size) {
  const String request = syncRequest(size);
  Device known;
  known.receive(request);
  for (double total = 0; total < 2e9;) {
    Device fresh;
    total += timed([&] {
      if (what == "export") {
        static_cast<void>(known.service().exportNodes(CClientDiscoveryService::All));
      } else {
        fresh.receive(request);
      }
    });
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  if (what == "sync" || what == "export") {
    repeat(what, argc > 2 ? std::strtoul(argv[2], nullptr, 10) : SIZES[0]);
  } else if (what == "limit" || what == "warm") {
    printHeader();
    printSync({}, what == "warm");
  } else if (what == "peers") {
    printHeader();
    printSync(syncPeers(), false);
  } else if (what == "memory") {
    printMemory();
  } else {
    printTimes();
    printMemory();
  }
}
