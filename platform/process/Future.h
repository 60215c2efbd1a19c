// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>

#include "platform/base/Export.h"
#include "platform/base/KXPtr.h"
#include "platform/base/RefCounted.h"
#include "platform/base/XCode.h"

namespace KX {

// The handle of something that runs elsewhere. It may be held by several threads: take its lock around each call
// (KXLockPtr).
class KX_EXPORT IFuture : public RefCountedUnlessBeingDestroying {
 public:
  std::recursive_mutex& getLock() const { return lock_; }
  // Sends the signal to the whole process group of the command; an error once the command has ended.
  [[nodiscard]] virtual XCode kill(int signal) = 0;
  // No further output callback comes after this; the termination still does, with the rest of the output.
  [[nodiscard]] virtual XCode close() = 0;

 protected:
  ~IFuture() override = default;

 private:
  mutable std::recursive_mutex lock_;
};

// Where a caller receives the handle of what it started; T is the type of the result that will come. Empty until then.
template <class T>
class Future {
 public:
  using Result = T;
  void set(const KXPtr<IFuture>& handle) { handle_ = handle; }
  const KXPtr<IFuture>& handle() const { return handle_; }
  explicit operator bool() const { return static_cast<bool>(handle_); }

 private:
  KXPtr<IFuture> handle_;
};

}  // namespace KX
