// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/Export.h"
#include "platform/monitor/Monitor.h"

namespace KX::NMS::Discovery {

// The discovery module's monitor, set by the host before it creates anything else of the library; null for a library
// that logs nothing. The host owns it.
KX_EXPORT extern RTD::Monitor* MON;

}  // namespace KX::NMS::Discovery

// Macros, so that nothing is formatted and no argument computed for a line that nobody reads.
#define DISCOVERY_TRACE(level, prefix, ...)                        \
  do {                                                             \
    const RTD::Monitor* const kxMonitor = KX::NMS::Discovery::MON; \
    if (kxMonitor != nullptr && kxMonitor->isEnabled(level)) {     \
      kxMonitor->trace(level, prefix, __VA_ARGS__);                \
    }                                                              \
  } while (false)

#define DISCOVERY_NOTE(kind, prefix, ...)                                      \
  do {                                                                         \
    const RTD::Monitor* const kxMonitor = KX::NMS::Discovery::MON;             \
    if (kxMonitor != nullptr) kxMonitor->note(RTD::kind, prefix, __VA_ARGS__); \
  } while (false)

namespace KX::NMS::Discovery {

// Whether lines of this level are written.
inline bool isTracing(unsigned level) { return MON != nullptr && MON->isEnabled(level); }

}  // namespace KX::NMS::Discovery
