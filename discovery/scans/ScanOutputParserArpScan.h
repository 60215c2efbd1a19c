// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/scans/ScanOutputParser.h"

namespace KX::NMS::Discovery {

// For "arp-scan --quiet": one line an answering host, its IP address and its physical address. Gives {"nodes": [...]},
// one {"physicalAddress", "ipAddress"} a line in output order, repeated answers included. Every other line is skipped,
// so it never fails.
class ScanOutputParserArpScan final : public ScanOutputParser {
 public:
  [[nodiscard]] XCode parseScanOutput(Property::Value& result, const String& output) const override;
};

}  // namespace KX::NMS::Discovery
