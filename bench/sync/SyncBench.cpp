// SPDX-License-Identifier: Apache-2.0
// What the node list costs: a sync from text in to text out, exports, service updates, removals, and memory. Beside the
// sync stand the least that a program of this kind needs for it, and what one would write by hand with a JSON library.
// Each figure is the median of several rounds.
//   sync-bench                      everything
//   sync-bench limit                the sync beside its limit alone
//   sync-bench peers                the same and the programs by hand
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
#include "bench/sync/SyncProgram.h"
#include "bench/sync/SyncRequest.h"

namespace {

using KX::NMS::Discovery::CClientDiscoveryService;
using KX::NMS::Discovery::NodeStatus;

constexpr std::size_t SIZES[] = {1000, 10000, 100000};
constexpr std::size_t LARGEST = 100000;
constexpr const char* FORMAT = "%-44s %9.1f %9.1f %9.1f %8.2f x\n";

using Figures = std::vector<double>;
using Maker = std::unique_ptr<SyncProgram> (*)();

// For each size what a node takes, and how that grows.
template <class Measure>
Figures perNode(const char* what, const Measure& measure) {
  Figures figures;
  for (const std::size_t size : SIZES) figures.push_back(measure(size) / static_cast<double>(size));
  std::printf(FORMAT, what, figures[0], figures[1], figures[2], figures[2] / figures[0]);
  return figures;
}

double syncOf(const Maker& make, std::size_t size) {
  const String request = syncRequest(size);
  std::string padded(request.view());
  padded.append(SyncProgram::PADDING, '\0');
  const std::string_view text(padded.data(), request.length());
  Device device;
  device.receive(request);
  require(device.sent() == make()->sync(text), "a program to compare with answers otherwise than the library");
  return nanoseconds([&] {
    const std::unique_ptr<SyncProgram> program = make();
    std::string answer;
    return timed([&] { answer = program->sync(text); });
  });
}

double sync(std::size_t size) {
  const String request = syncRequest(size);
  return nanoseconds([&] {
    Device device;
    return timed([&] { device.receive(request); });
  });
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

void printTimesLimit(const Figures& figures, const Figures& limit) {
  if (limit.empty()) return;
  std::printf("%-44s %7.2f x %7.2f x %7.2f x\n", "  times the limit", figures[0] / limit[0], figures[1] / limit[1],
              figures[2] / limit[2]);
}

void printSync(const std::vector<SyncPeer>& peers) {
  const auto by = [](Maker make) { return [make](std::size_t size) { return syncOf(make, size); }; };
  std::printf("%-44s %9s %9s %9s %10s\n", "nanoseconds a node", "1k", "10k", "100k", "growth");
  Figures limit;
  if (makeSyncLimit() != nullptr) limit = perNode("sync, the limit", by(makeSyncLimit));
  printTimesLimit(perNode("sync", sync), limit);
  for (const SyncPeer& peer : peers) {
    printTimesLimit(perNode(String::format("sync by hand with %s", peer.name).c_str(), by(peer.make)), limit);
  }
}

void printTimes() {
  printSync(syncPeers());
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
  } else if (what == "limit") {
    printSync({});
  } else if (what == "peers") {
    printSync(syncPeers());
  } else if (what == "memory") {
    printMemory();
  } else {
    printTimes();
    printMemory();
  }
}
