// SPDX-License-Identifier: Apache-2.0
#include "discovery/scans/ScanOutputParserArpScan.h"

#include <algorithm>
#include <string_view>

#include "platform/net/IpAddress.h"

namespace KX::NMS::Discovery {
namespace {

constexpr auto isLineEnd = [](char c) { return c == '\r' || c == '\n'; };
constexpr auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\v'; };

// Takes the next piece that is not empty off the front of the text; an empty one when there is none.
template <class IsSeparator>
std::string_view takePiece(std::string_view& text, IsSeparator isSeparator) {
  const auto* const start = std::find_if_not(text.begin(), text.end(), isSeparator);
  const auto* const end = std::find_if(start, text.end(), isSeparator);
  const std::string_view piece(start, static_cast<std::size_t>(end - start));
  text.remove_prefix(static_cast<std::size_t>(end - text.begin()));
  return piece;
}

// Unset for a line that is not an address and one word more.
Property::Value readNode(std::string_view line) {
  const String ipAddress(takePiece(line, isBlank));
  const std::string_view physicalAddress = takePiece(line, isBlank);
  IpAddress address;
  if (physicalAddress.empty() || !takePiece(line, isBlank).empty() || address.setIpAddrAsString(ipAddress).isErr()) {
    return Property::Value();
  }
  Property::Value node = Property::Value::object(2);
  node["physicalAddress"_s] = String(physicalAddress).toUpperCase();
  node["ipAddress"_s] = ipAddress;
  return node;
}

}  // namespace

XCode ScanOutputParserArpScan::parseScanOutput(Property::Value& result, const String& output) const {
  Property::Value nodes = Property::Value::array();
  std::string_view rest = output;
  for (std::string_view line = takePiece(rest, isLineEnd); !line.empty(); line = takePiece(rest, isLineEnd)) {
    const Property::Value node = readNode(line);
    if (node.isValid()) nodes.add(node);
  }
  result = Property::Value::object(1);
  result["nodes"_s] = nodes;
  return XCode();
}

}  // namespace KX::NMS::Discovery
