// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/ScanOutputParserDiscoveryScan.h"

namespace KX::NMS::Discovery {

XCode ScanOutputParserDiscoveryScan::parseScanOutput(Property::Value& result, const String& output) const {
  return result.fromJson(output);
}

}  // namespace KX::NMS::Discovery
