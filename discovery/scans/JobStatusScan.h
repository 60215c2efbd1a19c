// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/scans/InputFile.h"
#include "discovery/scans/Scan.h"
#include "discovery/scans/ScanOutputParserServiceScan.h"
#include "discovery/scheduling/Job.h"

namespace KX::NMS::Discovery {

// The job of scan type "status". It asks one service of every node that has any whether it still answers: the one that
// ranks highest in the description's priorities. Nodes that have just gone down are asked again by a second scan, and
// the second answer stands; meanwhile the job runs on, so no event reports them.
class JobStatusScan final : public Job {
 public:
  JobStatusScan(KXEventLoop& loop, Repository& repository, const String& id, unsigned number,
                const Property::Value& description);

  // Not needed without a node, and when the input file cannot be written.
  void prepare(bool& needed) override;
  void invoke() override;
  void cancel() override;

 private:
  ~JobStatusScan() override;

  [[nodiscard]] XCode prepareServiceScanInputFile(const KXVector<KXLWPtr<Node>>& nodes, bool& needed);
  [[nodiscard]] XCode writeInputFile(const KXVector<KXLWPtr<Node>>& nodes);
  [[nodiscard]] XCode writeLines(const Node& node);
  [[nodiscard]] XCode writeServicesNamed(const String& name, const Node& node, bool& found);
  void logInputFile() const;

  KXLWPtr<Scan> createScan(const String& name, void (JobStatusScan::*onStatusUpdated)());
  void invokeFirstScan();
  void invokeSecondScan();
  void onFirstScanStatusUpdated();
  void onSecondScanStatusUpdated();
  void onScanStatusUpdated(const KXLWPtr<Scan>& scan);
  void successful(const Property::Value& result);
  void enterStatus(const Property::Value& node, KXVector<KXLWPtr<Node>>& wentDown);

  InputFile inputFile_;
  KXLWPtr<Scan> firstScan_;
  KXLWPtr<Scan> secondScan_;
  ScanOutputParserServiceScan parser_;
};

}  // namespace KX::NMS::Discovery
