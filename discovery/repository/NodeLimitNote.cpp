// SPDX-License-Identifier: Apache-2.0
#include "discovery/repository/NodeLimitNote.h"

#include <utility>

#include "discovery/common/Log.h"

namespace KX::NMS::Discovery {

void NodeLimitNote::take(const KXLWPtr<Node>& node) {
  if (node != nullptr || std::exchange(isWritten_, true)) return;
  DISCOVERY_NOTE(REFUSAL, logPrefix_, "Node limit of %u reached", repository_.nodeLimit());
}

}  // namespace KX::NMS::Discovery
