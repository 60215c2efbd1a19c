// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/base/Export.h"
#include "platform/base/XCode.h"
#include "platform/loop/KXEventLoop.h"

namespace KX {

// The loop in real time, over libuv. Timers follow the monotonic clock, so setting the wall clock moves none of them,
// and a loop with nothing to do sleeps until its earliest timer. A turn runs due timers first, then descriptors,
// signals and posted calls as they arrived. Events are destroyed before their loop; posted calls that have not run by
// then are dropped.
class KX_EXPORT UvEventLoop final : public KXEventLoop {
 public:
  UvEventLoop();
  ~UvEventLoop() override;

  // An error when the system refused what a loop needs; run then returns at once.
  XCode status() const;

  void run() override;
  // A stop before run makes run return at once.
  void stop() override;
  void post(Handler task) override;
  std::unique_ptr<TimeoutEvent> createTimeoutEvent(unsigned priority, Handler handler) override;
  // Several events may watch one descriptor. A pipe or socket with an error is ready for everything that was asked for.
  std::unique_ptr<WatchEvent> createDescriptorEvent(int descriptor, unsigned readiness,
                                                    std::function<void(unsigned)> handler) override;
  // Null for a signal that cannot be caught.
  std::unique_ptr<WatchEvent> createSignalEvent(int signal, Handler handler) override;

 private:
  struct Core;
  std::unique_ptr<Core> core_;
};

}  // namespace KX
