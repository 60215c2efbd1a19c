// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "links/LineConnection.h"
#include "links/Link.h"

namespace KX::NMS {

// The link over standard input and output, whatever they are: pipes, sockets, files, a terminal, /dev/null. Its service
// is open from start to stop. It ends at the end of the input, or when the output can no longer be written; it changes
// no flag of descriptors that other processes share. The program ignores SIGPIPE, and keeps descriptors 0 to 2 open.
class StdioLink final : public Link {
 public:
  StdioLink(KXEventLoop& loop, const SessionOptions& options, int input = 0, int output = 1);

  XCode start() override { return connection_.start(); }
  void stop() override { connection_.stop(); }

 private:
  void onConnectionEnded();

  bool ended_ = false;
  LineConnection connection_;
};

}  // namespace KX::NMS
