// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/nodescan/NextStep.h"
#include "discovery/scans/Scan.h"
#include "discovery/scans/ScanOutputParserArpScan.h"
#include "discovery/scans/ScanOutputParserDiscoveryScan.h"
#include "discovery/scheduling/Job.h"
#include "platform/base/KXVector.h"
#include "platform/database/Entries.h"
#include "platform/text/KXRegEx.h"

namespace KX::NMS::Discovery {

// The job of scan type "node". It chooses the device's IP interfaces that are up, bound and accepted by the
// description's rules, runs an arp-scan and a discovery scan on each, one after another, and enters every node that any
// of them found into the repository. A scan that fails does not stop the job.
class JobNodeScan final : public Job {
 public:
  JobNodeScan(KXEventLoop& loop, Repository& repository, const String& name, unsigned number,
              const Property::Value& description);

  // The base's value and "scans": the value of each scan in order.
  Property::Value toPropertyValue() const override;
  void getInfo(InfoContainer& container, unsigned maxLevel, unsigned level, unsigned maxColumn, unsigned column,
               const String& title) const override;
  // Not needed when no interface is chosen.
  void prepare(bool& needed) override;
  void invoke() override;
  void cancel() override;

 private:
  ~JobNodeScan() override;

  // One rule of the description's "interfaces".
  struct InterfaceDescription {
    KXPPtr<KXRegEx::Pattern> expression;  // null: any name
    bool privateNetworksOnly;
  };

  void readInterfaceRules();
  // Rebuilds the scans from the device configuration database; the error is the database's.
  [[nodiscard]] XCode determineScans();
  void examineContext(const DB::Ptr<DB::Entry::ContextIp>& context);
  void examineInterface(const DB::Ptr<DB::Entry::IpInterface>& interface);
  bool isInterfaceInPrivateNetwork(DB::Ptr<DB::Entry::IpInterface> interface) const;
  bool isSelected(const String& name, bool connectsToPrivateNetwork) const;
  bool isAcceptedBy(const InterfaceDescription& rule, const String& name, bool connectsToPrivateNetwork) const;
  void addScans(const String& interfaceName, const String& deviceName);
  void addScan(const String& type, const String& name, const Shell::Command& command, const ScanOutputParser& parser);

  void invokeNextScan();
  void invokeCurrentScan();
  void onScanStatusUpdated();
  Property::Value combineScanResults() const;
  void successful(const Property::Value& result);
  KXLWPtr<Node> enterNode(const Property::Value& node);

  // There while interfaces are chosen: compiled expressions are large, and many jobs may be kept.
  KXVector<InterfaceDescription> interfaceDescriptions_;
  ScanOutputParserArpScan arpScanParser_;
  ScanOutputParserDiscoveryScan discoveryScanParser_;
  KXVector<KXPtr<Scan>> scans_;
  unsigned currentScan_ = 0;
  NextStep nextStep_;
};

}  // namespace KX::NMS::Discovery
