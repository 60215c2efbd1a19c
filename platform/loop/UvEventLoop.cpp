// SPDX-License-Identifier: Apache-2.0
#include "platform/loop/UvEventLoop.h"

#include <fcntl.h>
#include <unistd.h>
#include <uv.h>

#include <cassert>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/loop/TimerQueue.h"

namespace KX {

namespace {

static_assert(UV_READABLE == int{KXEventLoop::READABLE} && UV_WRITABLE == int{KXEventLoop::WRITABLE});

template <class Handle>
uv_handle_t* asHandle(Handle& handle) {
  return reinterpret_cast<uv_handle_t*>(&handle);
}

// What libuv knows of an event. It lives until libuv has closed the handle, which is after the event has gone.
template <class Handle, class... Args>
struct Watch {
  using Handler = std::function<void(Args...)>;

  explicit Watch(Handler called) : handler(std::make_shared<const Handler>(std::move(called))) { handle.data = this; }
  static Watch& of(Handle* handle) { return *static_cast<Watch*>(handle->data); }

  // The handler may destroy its event, so the call holds on to it.
  void call(Args... args) const {
    const auto kept = handler;
    (*kept)(args...);
  }
  void close() {
    handler.reset();
    uv_close(asHandle(handle), [](uv_handle_t* closed) { delete static_cast<Watch*>(closed->data); });
  }

  Handle handle{};
  std::shared_ptr<const Handler> handler;
  int readiness = 0;  // of a descriptor
};

using DescriptorWatch = Watch<uv_poll_t, unsigned>;
using SignalWatch = Watch<uv_signal_t>;

template <class W>
class Event : public WatchEvent {
 public:
  explicit Event(W& watch) : watch_(watch) {}
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
  ~Event() override { watch_.close(); }

 private:
  W& watch_;
};

// An event on a second descriptor of the same file, which goes with it.
class DuplicateEvent final : public WatchEvent {
 public:
  DuplicateEvent(int descriptor, std::unique_ptr<WatchEvent> event)
      : descriptor_(descriptor), event_(std::move(event)) {}
  DuplicateEvent(const DuplicateEvent&) = delete;
  DuplicateEvent& operator=(const DuplicateEvent&) = delete;
  ~DuplicateEvent() override {
    event_.reset();
    close(descriptor_);
  }

 private:
  int descriptor_;
  std::unique_ptr<WatchEvent> event_;
};

// libuv makes what it watches non-blocking. That would reach every process that shares a terminal or a pipe with this
// one, and the descriptor is the caller's, so its mode is put back.
int initPoll(uv_loop_t& loop, uv_poll_t& handle, int descriptor) {
  const int mode = fcntl(descriptor, F_GETFL);
  const int error = uv_poll_init(&loop, &handle, descriptor);
  if (error == 0 && (static_cast<unsigned>(mode) & O_NONBLOCK) == 0) fcntl(descriptor, F_SETFL, mode);
  return error;
}

void onReady(uv_poll_t* handle, int status, int events) {
  DescriptorWatch& watch = DescriptorWatch::of(handle);
  if (status != 0) {
    // libuv ends the watch of a descriptor in error. Here the caller decides, who meets the error when it reads or
    // writes.
    events = watch.readiness;
    uv_poll_start(handle, events, onReady);
  }
  watch.call(static_cast<unsigned>(events));
}

std::unique_ptr<WatchEvent> watchDescriptor(uv_loop_t& loop, int descriptor, int readiness,
                                            const std::function<void(unsigned)>& handler) {
  auto watch = std::make_unique<DescriptorWatch>(handler);
  watch->readiness = readiness;
  const int error = initPoll(loop, watch->handle, descriptor);
  if (error == UV_EEXIST) {
    // libuv knows a descriptor number only once.
    const int duplicate = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (duplicate < 0) return nullptr;
    auto event = watchDescriptor(loop, duplicate, readiness, handler);
    if (event == nullptr) close(duplicate);
    return event == nullptr ? nullptr : std::make_unique<DuplicateEvent>(duplicate, std::move(event));
  }
  if (error != 0) return nullptr;
  auto event = std::make_unique<Event<DescriptorWatch>>(*watch);
  return uv_poll_start(&watch.release()->handle, readiness, onReady) == 0 ? std::move(event) : nullptr;
}

}  // namespace

// The libuv side, out of sight of the header.
struct UvEventLoop::Core {
  Core();
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;
  ~Core();

  void arm();
  void post(Handler task);
  void runPosted();

  uv_loop_t loop{};
  uv_async_t wakeUp{};
  uv_timer_t timer{};
  uv_idle_t immediate{};
  int error = 0;
  TimerQueue timers{[] { return static_cast<std::int64_t>(uv_hrtime() / 1000); }, [this] { arm(); }};
  std::mutex mutex;
  std::vector<Handler> posted;
};

UvEventLoop::Core::Core() {
  error = uv_loop_init(&loop);
  if (error != 0) return;
  loop.data = this;
  error =
      uv_async_init(&loop, &wakeUp, [](uv_async_t* handle) { static_cast<Core*>(handle->loop->data)->runPosted(); });
  if (error != 0) {
    uv_loop_close(&loop);
    return;
  }
  uv_timer_init(&loop, &timer);
  uv_idle_init(&loop, &immediate);
}

UvEventLoop::Core::~Core() {
  std::vector<Handler>().swap(posted);
  if (error != 0) return;
  uv_close(asHandle(wakeUp), nullptr);
  uv_close(asHandle(timer), nullptr);
  uv_close(asHandle(immediate), nullptr);
  bool isEmpty = true;
  uv_walk(
      &loop, [](uv_handle_t* handle, void* empty) { *static_cast<bool*>(empty) &= uv_is_closing(handle) != 0; },
      &isEmpty);
  assert(isEmpty && "an event outlives its loop");
  if (isEmpty) uv_run(&loop, UV_RUN_DEFAULT);
  uv_loop_close(&loop);
}

// The uv timer stands for the earliest timer only. What is due already waits for the next turn as an idle handle: libuv
// would run a timer without delay within the same turn, and one that starts itself again would starve everything else.
void UvEventLoop::Core::arm() {
  if (error != 0) return;
  uv_timer_stop(&timer);
  uv_idle_stop(&immediate);
  const auto earliest = timers.earliest();
  if (!earliest) return;
  uv_update_time(&loop);
  const std::int64_t delay = *earliest - static_cast<std::int64_t>(uv_now(&loop));
  if (delay <= 0) {
    uv_idle_start(&immediate, [](uv_idle_t* handle) { static_cast<Core*>(handle->loop->data)->timers.fireDue(); });
  } else {
    uv_timer_start(
        &timer, [](uv_timer_t* handle) { static_cast<Core*>(handle->loop->data)->timers.fireDue(); },
        static_cast<std::uint64_t>(delay), 0);
  }
}

void UvEventLoop::Core::post(Handler task) {
  bool isFirst = false;
  {
    const std::lock_guard guard(mutex);
    isFirst = posted.empty();
    posted.push_back(std::move(task));
  }
  if (isFirst && error == 0) uv_async_send(&wakeUp);
}

void UvEventLoop::Core::runPosted() {
  std::vector<Handler> tasks;
  {
    const std::lock_guard guard(mutex);
    tasks.swap(posted);
  }
  for (Handler& task : tasks) {
    task();
    task = nullptr;
  }
}

UvEventLoop::UvEventLoop() : core_(std::make_unique<Core>()) {}

UvEventLoop::~UvEventLoop() = default;

XCode UvEventLoop::status() const { return core_->error == 0 ? XCode() : XCode::fromErrno(-core_->error); }

void UvEventLoop::run() {
  if (core_->error == 0) uv_run(&core_->loop, UV_RUN_DEFAULT);
}

void UvEventLoop::stop() { uv_stop(&core_->loop); }

void UvEventLoop::post(Handler task) { core_->post(std::move(task)); }

std::unique_ptr<TimeoutEvent> UvEventLoop::createTimeoutEvent(unsigned priority, Handler handler) {
  return core_->timers.create(priority, std::move(handler));
}

std::unique_ptr<WatchEvent> UvEventLoop::createDescriptorEvent(int descriptor, unsigned readiness,
                                                               std::function<void(unsigned)> handler) {
  if (core_->error != 0) return nullptr;
  return watchDescriptor(core_->loop, descriptor, static_cast<int>(readiness), handler);
}

std::unique_ptr<WatchEvent> UvEventLoop::createSignalEvent(int signal, Handler handler) {
  if (core_->error != 0) return nullptr;
  auto watch = std::make_unique<SignalWatch>(std::move(handler));
  if (uv_signal_init(&core_->loop, &watch->handle) != 0) return nullptr;
  auto event = std::make_unique<Event<SignalWatch>>(*watch);
  const auto onSignal = [](uv_signal_t* handle, int) { SignalWatch::of(handle).call(); };
  return uv_signal_start(&watch.release()->handle, onSignal, signal) == 0 ? std::move(event) : nullptr;
}

}  // namespace KX
