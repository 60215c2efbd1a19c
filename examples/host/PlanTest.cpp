// SPDX-License-Identifier: Apache-2.0
// How a host tests what it builds on the library: three days of a plan in milliseconds, and no packet sent.
#include <cstdio>

#include "discovery/scheduling/Scheduler.h"
#include "platform/database/Connection.h"
#include "platform/database/Database.h"
#include "platform/testing/FakeShell.h"
#include "platform/testing/VirtualEventLoop.h"

using namespace std::chrono_literals;

namespace {

// The configuration of a device with one private network.
class OneLan final : public DB::Database::Source {
 public:
  XCode update(DB::Connection& connection) override {
    connection.execute(
        "INSERT OR IGNORE INTO context_ip VALUES (1, 2, 10, 'main');"
        "INSERT OR IGNORE INTO dyn_if VALUES (1, 'eth1');"
        "INSERT OR IGNORE INTO ip_interface VALUES (1, 1, 2, 10, 'LAN', 1, 3);"
        "INSERT OR IGNORE INTO ip_interface_address VALUES (1, 1, 2, 10, '10.1.0.0/16')");
    return XCode();
  }
};

}  // namespace

int main() {
  KX::Testing::VirtualEventLoop loop;
  KX::Testing::FakeShell shell(loop);
  shell.onPrefix("arp-scan ").after(24s).prints("10.1.0.5\t02:00:5e:00:00:05\n");
  shell.onPrefix("discovery-client ").after(3s).prints("{\"nodes\":[]}");
  OneLan lan;
  DB::Database database;
  if (database.openInMemory(&lan).isErr()) return 1;
  loop.provide<DB::Database>(&database);

  KX::NMS::Discovery::Repository repository;
  const KXPtr<KX::NMS::Discovery::Scheduler> scheduler(new KX::NMS::Discovery::Scheduler(loop, repository));
  KX::Property::Value plan;
  if (plan.fromJson(R"([{"id": "nightly", "scanType": "node", "schedule": "0 0 2 * * *"}])").isErr()) return 1;
  scheduler->updateJobDescriptions(plan);
  loop.advance(72h);

  std::printf("%zu commands, %zu nodes\n", shell.invoked().size(), repository.getNodes().size());
  return shell.invoked().size() == 6 && repository.getNodes().size() == 1 ? 0 : 1;
}
