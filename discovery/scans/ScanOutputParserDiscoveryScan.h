// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/scans/ScanOutputParser.h"
#include "platform/base/Export.h"

namespace KX::NMS::Discovery {

// For "discovery-client -j": one JSON document, taken as it is. Its structure is not checked; the job that reads it
// reads with defaults.
class KX_EXPORT ScanOutputParserDiscoveryScan final : public ScanOutputParser {
 public:
  [[nodiscard]] XCode parseScanOutput(Property::Value& result, const String& output) const override;
};

}  // namespace KX::NMS::Discovery
