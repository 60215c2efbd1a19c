// SPDX-License-Identifier: Apache-2.0
#include "links/StdioLink.h"

namespace KX::NMS {

StdioLink::StdioLink(KXEventLoop& loop, const SessionOptions& options, int input, int output)
    : connection_(loop, options, input, output, {[this] { onConnectionEnded(); }, [this] { onConnectionEnded(); }}) {}

void StdioLink::onConnectionEnded() {
  if (ended_) return;
  ended_ = true;
  reportEnd();
}

}  // namespace KX::NMS
