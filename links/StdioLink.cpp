// SPDX-License-Identifier: Apache-2.0
#include "links/StdioLink.h"

#include <fcntl.h>

namespace KX::NMS {

namespace {

// A terminal that is not read (a hung remote shell) takes part of a write and lets the rest wait, whatever poll has
// said. Opened once more it can be non-blocking for this process alone. Where that is not permitted the shared
// description serves.
KX::Shell::Descriptor openTerminalAgain(int descriptor) {
  if (::isatty(descriptor) == 0) return KX::Shell::Descriptor();
  const String path = String::format("/proc/self/fd/%d", descriptor);
  return KX::Shell::Descriptor(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

}  // namespace

StdioLink::StdioLink(KXEventLoop& loop, const SessionOptions& options, int input, int output)
    : ownTerminal_(openTerminalAgain(output)),
      connection_(loop, options, input, ownTerminal_ ? ownTerminal_.get() : output,
                  {[this] { onConnectionEnded(); }, [this] { onConnectionEnded(); }}) {}

void StdioLink::onConnectionEnded() {
  if (ended_) return;
  ended_ = true;
  reportEnd();
}

}  // namespace KX::NMS
