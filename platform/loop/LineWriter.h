// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/uio.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>

#include "platform/base/Export.h"
#include "platform/base/String.h"
#include "platform/base/XCode.h"
#include "platform/loop/KXEventTimeout.h"

namespace KX {

// Writes lines to a descriptor without ever waiting for its reader: what the reader does not take is queued and follows
// as it makes room. Once more bytes than the bound would wait behind the line that is on its way, line ends included,
// nobody reads, and the writer fails. The line on its way may have any size. The descriptor stays the caller's, and its
// flags as they are, since others may share it; hence sockets are written with MSG_DONTWAIT, anything else in pieces
// that fit where poll sees room. A reader that is gone is an error on a socket, and elsewhere SIGPIPE, which the
// program ignores.
class KX_EXPORT LineWriter {
 public:
  static constexpr std::size_t DEFAULT_BOUND = std::size_t{16} << 20U;
  // Called from the loop, never from inside send. It may destroy the writer.
  struct Handlers {
    // Once, with the reason; what was queued is gone.
    std::function<void(const XCode&)> onFailed;
    // Whenever the queue has become empty after a wait.
    std::function<void()> onDrained = nullptr;
  };

  LineWriter(KXEventLoop& loop, int descriptor, Handlers handlers, std::size_t bound = DEFAULT_BOUND);
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;
  ~LineWriter();

  // Takes one line without its end. An error once the writer has failed.
  XCode send(const String& line);
  // Whether a line could be sent without exceeding the bound. Lets the reader take what it will before it says no.
  bool hasRoomFor(const String& line);
  bool hasFailed() const { return failure_.isErr(); }
  // Bytes that are still queued, line ends included.
  std::size_t unsent() const { return unsent_; }
  // Waits for the reader to take what is queued, at most so long, and leaves the rest: the loop no longer watches for
  // room. Calls no handler.
  void flush(std::chrono::milliseconds limit);

 private:
  enum class Progress { DONE, BLOCKED, FAILED };

  bool exceedsBound(const String& line) const;
  Progress writeQueued();
  // Bytes written, or -1 with errno.
  ssize_t writeSome();
  int gather(iovec* pieces, int count) const;
  void consume(std::size_t bytes);
  void watch();
  void onWritable();
  XCode fail(const XCode& reason);
  void reportFailure();

  KXEventLoop& loop_;
  int ownTerminal_;  // or -1
  int descriptor_;
  Handlers handlers_;
  std::size_t bound_;
  bool isSocket_ = false;
  std::size_t mostAtOnce_ = 0;
  std::deque<String> queue_;
  // Bytes of the first line that are written already.
  std::size_t offset_ = 0;
  std::size_t unsent_ = 0;
  XCode failure_;
  std::unique_ptr<WatchEvent> writable_;
  KXEventTimeout<LineWriter> failing_;
};

}  // namespace KX
