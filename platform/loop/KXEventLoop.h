// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <typeinfo>
#include <utility>
#include <vector>

#include "platform/base/Export.h"
#include "platform/time/Clock.h"

namespace KX {

// A timer of a loop. Handlers that are due at the same time run in the order of their priorities (lower first), then of
// their starts. The handler may start, stop or destroy its own event.
class KX_EXPORT TimeoutEvent {
 public:
  virtual ~TimeoutEvent() = default;
  // Starts anew. A repeating event comes again a full period after it came: one that is late is not made up for, and
  // moves those after it. fireNow calls the handler in the loop's next turn as well.
  virtual void start(std::uint64_t milliseconds, bool repeat, bool fireNow) = 0;
  virtual void stop() = 0;
};

// Anything else that a loop watches; destroying it ends the watch, also from inside its handler.
class KX_EXPORT WatchEvent {
 public:
  virtual ~WatchEvent() = default;
};

}  // namespace KX

// The loop on which everything of one agent runs: timers, descriptors, signals and calls posted from other threads. It
// belongs to the thread that created it and is that thread's current loop until it is destroyed. What an operation
// needs and is not given (shell, database) hangs on the loop, where a test puts its own. There are two kinds:
// UvEventLoop runs in real time, VirtualEventLoop (platform/testing) in simulated time.
class KX_EXPORT KXEventLoop {
 public:
  using Handler = std::function<void()>;
  enum Readiness : unsigned { READABLE = 1, WRITABLE = 2 };

  KXEventLoop();
  KXEventLoop(const KXEventLoop&) = delete;
  KXEventLoop& operator=(const KXEventLoop&) = delete;
  virtual ~KXEventLoop();

  // The loop created last on the calling thread, or null.
  static KXEventLoop* current();
  bool isLoopThread() const { return thread_ == currentThread(); }

  // Runs until stop. Handlers run inside.
  virtual void run() = 0;
  virtual void stop() = 0;
  // Calls the task in a later turn, in the order of posting. May be called from any thread; all else here may not.
  virtual void post(Handler task) = 0;
  virtual std::unique_ptr<KX::TimeoutEvent> createTimeoutEvent(unsigned priority, Handler handler) = 0;
  // Calls the handler with what the descriptor is ready for. The descriptor stays the caller's and must outlive the
  // event. Null where it cannot be watched, as a regular file or /dev/null cannot.
  virtual std::unique_ptr<KX::WatchEvent> createDescriptorEvent(int descriptor, unsigned readiness,
                                                                std::function<void(unsigned)> handler) = 0;
  // Calls the handler in the loop's own time whenever the process has got the signal.
  virtual std::unique_ptr<KX::WatchEvent> createSignalEvent(int signal, Handler handler) = 0;
  // The present, which Clock::NOW gives on the loop's thread: the system's, unless the loop has a time of its own.
  // Setting the wall clock moves it, but no timer: those follow a clock of their own.
  virtual KX::Clock now() const { return KX::Clock::system(); }

  // Hangs a service of the given kind on the loop, in place of the one before; null takes it away. Not owned.
  template <class T>
  void provide(T* service) {
    setService(typeid(T), service);
  }
  // The service of the given kind, or null.
  template <class T>
  T* service() const {
    return static_cast<T*>(findService(typeid(T)));
  }
  // The service of the given kind; where there is none, one that the loop makes, owns and destroys as its last act.
  template <class T>
  T& ownService() {
    if (T* known = service<T>()) return *known;
    const auto made = std::make_shared<T>();
    owned_.push_back(made);
    provide<T>(made.get());
    return *made;
  }

 private:
  static const void* currentThread();
  void setService(const std::type_info& kind, void* service);
  void* findService(const std::type_info& kind) const;

  KXEventLoop* previous_;
  const void* thread_;
  std::vector<std::pair<const std::type_info*, void*>> services_;
  std::vector<std::shared_ptr<void>> owned_;
};
