// SPDX-License-Identifier: Apache-2.0
// What keys cost that were chosen to collide in the string tables, beside random ones of the same form: physical
// addresses, as one device of the LAN can answer with, and names of services, as one message of the server can hold.
//   collisions-bench [--check]      with --check it fails where they cost more than three times as much
#include <cstdio>
#include <string_view>
#include <vector>

#include "bench/sync/Rounds.h"
#include "discovery/repository/Repository.h"
#include "tests/platform/base/CollidingKeys.h"

namespace {

using KX::NMS::Discovery::Repository;
using KX::NMS::Discovery::Service;
using Keys = std::vector<String>;

constexpr std::size_t COUNT = 20000;
constexpr double MOST = 3;

// Filled, asked for each, and emptied.
void useTable(const Keys& keys) {
  KXStringHashTable<unsigned> table;
  for (const String& key : keys) table.set(key, 1);
  for (const String& key : keys) require(table.find(key) != nullptr, "a key is not found");
  for (const String& key : keys) table.remove(key);
}

String addressOf(std::size_t number) { return String::format("10.0.%zu.%zu", number / 256, number % 256); }

// Two scans of a LAN, and the server's removal of what they found.
void scanNodes(const Keys& keys) {
  Repository repository;
  for (int scan = 0; scan < 2; ++scan) {
    for (std::size_t i = 0; i < keys.size(); ++i) {
      static_cast<void>(repository.addDiscoveredNode(keys[i], addressOf(i), "LAN"_s, String(), false,
                                                     Repository::UpdateExisting, nullptr, nullptr));
    }
  }
  require(repository.getNodes().size() == keys.size(), "nodes are missing");
  for (std::size_t i = 0; i < keys.size(); ++i) repository.removeNode(addressOf(i));
}

// One node's, found twice.
void discoverServices(const Keys& keys) {
  Repository repository;
  static_cast<void>(repository.addManualNode("10.0.0.1"_s, nullptr));
  for (int scan = 0; scan < 2; ++scan) {
    KXStringHashTable<Service> services;
    for (const String& name : keys) services.set(name, Service{name, 80});
    static_cast<void>(repository.setDiscoveredServices("10.0.0.1"_s, services, String(), String()));
  }
}

// The times of both take turns, so that a machine that changes its pace changes it for both.
double ratio(const char* what, std::string_view pattern, void (*use)(const Keys&)) {
  const Keys colliding = KX::Testing::collidingKeys(pattern, COUNT);
  const Keys random = KX::Testing::randomKeys(pattern, COUNT);
  require(colliding.size() == COUNT, "too few keys collide");
  std::vector<double> chosen;
  std::vector<double> others;
  std::vector<double> ratios;
  for (int round = 0; round < 21; ++round) {
    chosen.push_back(timed([&] { use(colliding); }) / COUNT);
    others.push_back(timed([&] { use(random); }) / COUNT);
    ratios.push_back(chosen.back() / others.back());
  }
  std::printf("%-28s %9.1f %9.1f %7.2f x\n", what, median(chosen), median(others), median(ratios));
  return median(ratios);
}

}  // namespace

int main(int argc, char** argv) {
  constexpr std::string_view MAC = "00:00:00:00:00:00";
  constexpr std::string_view NAME = "service-000000000000";
  std::printf("%-28s %9s %9s\n", "nanoseconds a key", "colliding", "random");
  const double worst = std::max({ratio("table of addresses", MAC, useTable), ratio("table of names", NAME, useTable),
                                 ratio("nodes", MAC, scanNodes), ratio("services", NAME, discoverServices)});
  const bool isChecked = argc > 1 && std::string_view(argv[1]) == "--check";
  return isChecked && worst > MOST ? 1 : 0;
}
