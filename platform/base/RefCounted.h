// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/Count.h"
#include "platform/base/Export.h"

namespace KX {

// Base of objects that are shared within one thread. Such an object is created on the heap, starts without a
// reference, and is destroyed by the release that drops its last one. Its class, like that of every counted object,
// keeps its destructor to itself, so that the compiler refuses one on the stack.
class KX_EXPORT RefCounted {
 public:
  RefCounted() = default;
  RefCounted(const RefCounted&) = delete;
  RefCounted& operator=(const RefCounted&) = delete;

  void addRef() const { ++references_; }
  void release() const {
    if (--references_ == 0) delete this;
  }

 protected:
  virtual ~RefCounted() = default;

 private:
  mutable std::uint32_t references_ = 0;
};

class RefCountedUnlessBeingDestroying;

// What a bound call holds of its target: it says whether the target is still there and keeps nothing alive but itself.
class WeakLink {
 public:
  explicit WeakLink(RefCountedUnlessBeingDestroying* target) : target_(target) {}
  void addRef() { count_.increment(); }
  void release() {
    if (count_.decrement() == 0) delete this;
  }
  // Null once the target is gone. Asked on the target's own thread.
  RefCountedUnlessBeingDestroying* target() const { return target_; }
  void expire() { target_ = nullptr; }

 private:
  ~WeakLink() = default;
  Count count_{0};
  RefCountedUnlessBeingDestroying* target_;
};

// Base of objects that several threads may hold and that may be called from their own destructor: once destruction has
// begun, references are no longer counted, so whoever takes and drops one meanwhile does not destroy the object twice.
// Bound calls (KX::Function) reach the object through a weak link until it expires.
class KX_EXPORT RefCountedUnlessBeingDestroying {
 public:
  RefCountedUnlessBeingDestroying() = default;
  RefCountedUnlessBeingDestroying(const RefCountedUnlessBeingDestroying&) = delete;
  RefCountedUnlessBeingDestroying& operator=(const RefCountedUnlessBeingDestroying&) = delete;

  void addRef() const {
    if (count_.peek() < BEING_DESTROYED) count_.increment();
  }
  void release() const;
  // Made on first use; called on the object's own thread.
  WeakLink* weakLink() const;

 protected:
  virtual ~RefCountedUnlessBeingDestroying() { expireWeakLink(); }
  // From here on bound calls to this object are dropped. A destructor whose members may still emit calls it last.
  void expireWeakLink() const;

 private:
  static constexpr std::uint32_t BEING_DESTROYED = 0x80000000U;
  mutable Count count_{0};
  mutable WeakLink* weakLink_ = nullptr;
};

}  // namespace KX
