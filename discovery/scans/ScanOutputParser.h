// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/property/Value.h"

namespace KX::NMS::Discovery {

// Turns the whole standard output of one tool into a value. Parsers are stateless and serve any number of scans; a job
// has its parsers as members and hands out references, so none is ever deleted through this interface.
class ScanOutputParser {
 public:
  // The caller passes an unset value. An error makes the scan fail.
  [[nodiscard]] virtual XCode parseScanOutput(Property::Value& result, const String& output) const = 0;

 protected:
  ~ScanOutputParser() = default;
};

}  // namespace KX::NMS::Discovery
