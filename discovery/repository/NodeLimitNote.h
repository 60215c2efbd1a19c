// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/repository/Repository.h"

namespace KX::NMS::Discovery {

// Logs that the repository is full, once for all the nodes that one request or one scan enters.
class NodeLimitNote {
 public:
  // Both outlive it.
  NodeLimitNote(const Repository& repository, const String& logPrefix)
      : repository_(repository), logPrefix_(logPrefix) {}

  // What the repository gave for a node to be entered: null when there is no room for it.
  void take(const KXLWPtr<Node>& node);

 private:
  const Repository& repository_;
  const String& logPrefix_;
  bool isWritten_ = false;
};

}  // namespace KX::NMS::Discovery
