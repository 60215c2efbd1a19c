// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/scans/InputFile.h"
#include "discovery/scans/Scan.h"
#include "discovery/scans/ScanOutputParserServiceScan.h"
#include "discovery/scheduling/Job.h"

namespace KX::NMS::Discovery {

// The job of scan type "service". It lists the known nodes, or those that are still owed a service scan, with the
// services and ports of the description in an input file, runs one servicescan on it, and enters the services that
// answered into the repository. Writing a node's line pays off one of the scans that it is owed.
class JobServiceScan final : public Job {
 public:
  JobServiceScan(KXEventLoop& loop, Repository& repository, const String& id, unsigned number,
                 const Property::Value& description);

  // Not needed without a node, and when the input file cannot be written.
  void prepare(bool& needed) override;
  void invoke() override;
  void cancel() override;

 private:
  ~JobServiceScan() override;

  [[nodiscard]] XCode prepareServiceScanInputFile(bool& needed);
  [[nodiscard]] XCode writeInputFile(const KXVector<KXLWPtr<Node>>& nodes);
  [[nodiscard]] XCode writeLines(const KXVector<KXLWPtr<Node>>& nodes, const String& services);
  [[nodiscard]] XCode logInputFile() const;
  bool isOnlyWhenNeeded() const;
  String servicesText() const;

  void invokeScan();
  void onScanStatusUpdated();
  void successful(const Property::Value& result);
  void enterServices(const Property::Value& node);

  InputFile inputFile_;
  KXLWPtr<Scan> scan_;
  ScanOutputParserServiceScan parser_;
};

}  // namespace KX::NMS::Discovery
