// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>

#include "platform/base/String.h"
#include "platform/base/XCode.h"
#include "platform/loop/KXEventLoop.h"
#include "platform/process/Descriptor.h"

namespace KX::Shell {

// A pipe that a child prints into and that this process reads on its loop, without ever blocking.
class OutputPipe {
 public:
  // The largest piece that is read at once, as much as a pipe holds.
  static constexpr std::size_t PIECE = 65536;

  // Makes the pipe and calls the handler when there is something to read, or when it has ended.
  [[nodiscard]] XCode open(KXEventLoop& loop, KXEventLoop::Handler readable);
  // The end for the child, 3 or above; to be closed here once the child has it.
  int childEnd() const { return childEnd_.get(); }
  void closeChildEnd() { childEnd_.reset(); }

  // Takes what there is, at most PIECE. False when there is nothing, and at the end, where it closes the pipe.
  bool read(String& piece);
  // Bytes that can be read at present.
  std::size_t pending() const;
  void close();

 private:
  Descriptor childEnd_;
  Descriptor ourEnd_;
  std::unique_ptr<WatchEvent> event_;
};

}  // namespace KX::Shell
