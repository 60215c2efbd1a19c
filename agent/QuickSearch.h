// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "agent/InterfaceChoice.h"
#include "agent/Search.h"
#include "discovery/repository/Repository.h"
#include "discovery/scans/Scan.h"
#include "discovery/scans/ScanOutputParserDiscoveryScan.h"
#include "sweep/KernelLan.h"
#include "sweep/Sweep.h"

// Finds nodes in seconds: it sweeps the networks of all interfaces, and lets devices speak for themselves meanwhile.
// Networks that have more addresses together than the kernel's neighbour table has room for are swept one after
// another.
class QuickSearch final : public Search {
 public:
  QuickSearch(KXEventLoop& loop, KX::NMS::Discovery::Repository& repository,
              const std::vector<InterfaceChoice>& interfaces, std::size_t maxAddresses);

  void start() override;
  void cancel() override;
  void poll() override;
  bool isBusy() const override;
  bool hasEnded() const override;
  ScanStage stage() const override;
  bool judge(ScanFailures& failures) const override;

 private:
  struct NetworkSweep {
    NetworkSweep(const String& itsInterface, const HostSweep::Network& network)
        : interface(itsInterface), lan(network) {}
    String interface;
    HostSweep::KernelLan lan;
    std::vector<std::uint32_t> addresses;
    std::unique_ptr<HostSweep::Sweep> sweep;  // null before its start, and where it cannot be started
    std::size_t found = 0;
    bool hasEnded = false;
    XCode trouble;
  };

  void add(const InterfaceChoice& interface, std::size_t maxAddresses);
  void addNetwork(const InterfaceChoice& interface, const HostSweep::Network& network, std::size_t maxAddresses);
  void startSweeps();
  void startSweep(NetworkSweep& one);
  void enterHost(NetworkSweep& one, std::uint32_t address, const MacAddress& macAddress);
  void enterDevices(const KX::NMS::Discovery::Scan& scan);

  KXEventLoop& loop_;
  KX::NMS::Discovery::Repository& repository_;
  HostSweep::Neighbours neighbours_;
  KX::NMS::Discovery::ScanOutputParserDiscoveryScan parser_;
  std::vector<std::unique_ptr<NetworkSweep>> sweeps_;
  std::vector<KXLWPtr<KX::NMS::Discovery::Scan>> scans_;
  std::size_t scansEntered_ = 0;
  ScanFailures unswept_;
};
