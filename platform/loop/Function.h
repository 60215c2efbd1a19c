// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <tuple>
#include <type_traits>
#include <utility>

#include "platform/base/KXPtr.h"
#include "platform/base/RefCounted.h"
#include "platform/loop/KXEventLoop.h"

namespace KX {

template <class Signature>
class Function;

// A call bound to its context: direct runs at once on the calling thread; synchronous runs on the given loop's thread
// while the caller waits (at once when the caller is that thread); asynchronous is posted to the loop and returns
// before it runs. A function that is bound to an object's operation does not keep the object alive; a call whose object
// is gone is dropped, and gives a default result. While the call runs the object is kept. An empty function is false
// and drops its calls.
template <class R, class... Args>
class Function<R(Args...)> {
 public:
  using Callable = std::function<R(Args...)>;

  Function() = default;
  // Direct.
  template <class F>
  requires(!std::is_same_v<std::decay_t<F>, Function> && std::is_invocable_r_v<R, F&, Args...>) Function(F&& callable)
      : callable_(std::forward<F>(callable)) {}

  template <class T>
  static Function direct(T* target, R (T::*operation)(Args...)) {
    return Function(bound(target, operation));
  }

  template <class T>
  static Function synchronous(KXEventLoop& loop, T* target, R (T::*operation)(Args...)) {
    return synchronous(loop, Callable(bound(target, operation)));
  }
  static Function synchronous(KXEventLoop& loop, Callable callable) {
    return Function([&loop, callable = std::move(callable)](Args... args) -> R {
      if (loop.isLoopThread()) return callable(std::forward<Args>(args)...);
      return callAndWait(loop, [&] { return callable(std::forward<Args>(args)...); });
    });
  }

  template <class T>
  static Function asynchronous(KXEventLoop& loop, T* target, R (T::*operation)(Args...)) {
    return asynchronous(loop, Callable(bound(target, operation)));
  }
  static Function asynchronous(KXEventLoop& loop, Callable callable) {
    static_assert(std::is_void_v<R>, "nobody waits for the result of an asynchronous call");
    return Function([&loop, callable = std::move(callable)](Args... args) {
      loop.post([callable, values = std::tuple<std::decay_t<Args>...>(std::forward<Args>(args)...)]() mutable {
        std::apply(callable, std::move(values));
      });
    });
  }

  explicit operator bool() const { return static_cast<bool>(callable_); }

  R operator()(Args... args) const {
    if (callable_) return callable_(std::forward<Args>(args)...);
    if constexpr (!std::is_void_v<R>) return R();
  }

 private:
  template <class T>
  static auto bound(T* target, R (T::*operation)(Args...)) {
    return [link = Counted<WeakLink>(target->weakLink()), target, operation](Args... args) -> R {
      if (link->target() != nullptr) {
        const Counted<T> kept(target);
        return (target->*operation)(std::forward<Args>(args)...);
      }
      if constexpr (!std::is_void_v<R>) return R();
    };
  }

  template <class F>
  static R callAndWait(KXEventLoop& loop, F call) {
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
    std::conditional_t<std::is_void_v<R>, char, R> result{};
    loop.post([&] {
      if constexpr (std::is_void_v<R>) {
        call();
      } else {
        result = call();
      }
      const std::lock_guard guard(mutex);
      finished = true;
      done.notify_one();
    });
    std::unique_lock lock(mutex);
    done.wait(lock, [&] { return finished; });
    if constexpr (!std::is_void_v<R>) return result;
  }

  Callable callable_;
};

}  // namespace KX
