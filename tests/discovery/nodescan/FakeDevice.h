// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "discovery/nodescan/JobNodeScan.h"
#include "platform/database/Connection.h"
#include "platform/database/Database.h"
#include "platform/testing/FakeShell.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/discovery/common/DiscoveryLog.h"
#include "tests/discovery/common/Json.h"
#include "tests/discovery/scans/InputFolder.h"

namespace KX::NMS::Discovery {

// A device for scans: virtual time, scripted commands, a folder for input files, and a configuration database that the
// test fills.
class FakeDevice final : private DB::Database::Source {
 public:
  FakeDevice() {
    EXPECT_TRUE(database_.openInMemory(this).isSuccess());
    loop.provide<Shell::Runner>(&shell);
    loop.provide<DB::Database>(&database_);
    execute("INSERT INTO context_ip VALUES (1, 2, 10, 'main')");
  }

  void execute(const std::string& sql) { pending_.push_back(sql); }
  // An interface of context 1 that is bound to a device of its own; state 3 is up.
  void addInterface(const std::string& name, const std::string& device, const std::string& subnet, int state = 3) {
    const std::string id = std::to_string(++interfaces_);
    execute("INSERT INTO dyn_if VALUES (" + id + ", '" + device + "')");
    execute("INSERT INTO ip_interface VALUES (" + id + ", 1, 2, 10, '" + name + "', " + id + ", " +
            std::to_string(state) + ")");
    if (!subnet.empty())
      execute("INSERT INTO ip_interface_address VALUES (" + id + ", " + id + ", 2, 10, '" + subnet + "')");
  }
  // Two interfaces in private networks: LAN1 on eth1 and LAN2 on eth2.
  void addTwoLans() {
    addInterface("LAN1", "eth1", "10.1.0.0/16");
    addInterface("LAN2", "eth2", "192.168.1.0/24");
  }

  KXPtr<JobNodeScan> makeJob(const char* description = R"({"id":"n","scanType":"node"})") {
    return KXPtr<JobNodeScan>(new JobNodeScan(loop, repository, "n"_s, 0, json(description)));
  }

  static String arpScanOf(const char* device) {
    return String::format("arp-scan --interface=%s --localnet --quiet --timeout=5000 --retry=3", device);
  }
  static String discoveryScanOf(const char* device) { return String::format("discovery-client -j -i %s", device); }

  Testing::VirtualEventLoop loop;
  Testing::FakeShell shell{loop};
  InputFolder inputs{loop};
  Repository repository;
  DiscoveryLog log{1};

 private:
  XCode update(DB::Connection& connection) override {
    for (const std::string& sql : pending_) connection.execute(sql.c_str());
    pending_.clear();
    return XCode();
  }

  DB::Database database_;
  std::vector<std::string> pending_;
  int interfaces_ = 0;
};

}  // namespace KX::NMS::Discovery
