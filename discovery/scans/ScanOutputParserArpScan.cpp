// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/ScanOutputParserArpScan.h"

#include "platform/base/KXVector.h"
#include "platform/net/IpAddress.h"

namespace KX::NMS::Discovery {

XCode ScanOutputParserArpScan::parseScanOutput(Property::Value& result, const String& output) const {
  Property::Value nodes = Property::Value::array();
  for (const String& line : output.splitAtChars("\r\n")) {
    const KXVector<String> fields = line.splitAtChars(" \t\v");
    IpAddress address;
    if (fields.size() != 2 || address.setIpAddrAsString(fields[0]).isErr()) continue;
    Property::Value node = Property::Value::object(2);
    node["physicalAddress"_s] = fields[1].toUpperCase();
    node["ipAddress"_s] = fields[0].toUpperCase();
    nodes.add(node);
  }
  result = Property::Value::object(1);
  result["nodes"_s] = nodes;
  return XCode();
}

}  // namespace KX::NMS::Discovery
