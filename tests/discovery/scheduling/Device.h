// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/discovery/nodescan/FakeDevice.h"

namespace KX::NMS::Discovery {

// A device at noon of the first of January with one private interface, "LAN" on eth0, whose two commands hang until
// they are told otherwise.
class Device final {
  FakeDevice fake_;

 public:
  static constexpr const char* ARP_SCAN = "arp-scan --interface=eth0 --localnet --quiet --timeout=5000 --retry=3";
  static constexpr const char* DISCOVERY_SCAN = "discovery-client -j -i eth0";

  explicit Device(unsigned verbosity) {
    log.setVerbosity(verbosity);
    loop.setNow(Clock("2026-01-01T12:00:00Z"_s, Clock::UTC, 0));
    fake_.addInterface("LAN", "eth0", "192.168.7.0/24");
    shell.on(ARP_SCAN).hangs();
    shell.on(DISCOVERY_SCAN).hangs();
  }

  // From now on both commands take this long, and arp-scan finds one host.
  void letScansTake(std::chrono::milliseconds each) {
    shell.on(ARP_SCAN).after(each).prints("192.168.7.20\t02:00:5e:00:00:0a\n");
    shell.on(DISCOVERY_SCAN).after(each).prints("{}");
  }
  // From now on neither command can be started, so that a node scan ends inside its invoke.
  void refuseScans() {
    shell.on(ARP_SCAN).isRefused(XCode::fromErrno(ENOENT));
    shell.on(DISCOVERY_SCAN).isRefused(XCode::fromErrno(ENOENT));
  }
  // Ends the two commands of the running job, one after the other.
  void endScans() {
    EXPECT_TRUE(shell.end(ARP_SCAN, XCode()));
    EXPECT_TRUE(shell.end(DISCOVERY_SCAN, XCode(), "{}"));
  }
  // While it is down a node scan has nothing to do.
  void setInterfaceUp(bool isUp) {
    fake_.execute(std::string("UPDATE ip_interface SET if_state = ") + (isUp ? "3" : "1"));
  }

  DiscoveryLog& log = fake_.log;
  Testing::VirtualEventLoop& loop = fake_.loop;
  Testing::FakeShell& shell = fake_.shell;
  Repository& repository = fake_.repository;
};

}  // namespace KX::NMS::Discovery
