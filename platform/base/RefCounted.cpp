// SPDX-License-Identifier: Apache-2.0
#include "platform/base/RefCounted.h"

namespace KX {

void RefCountedUnlessBeingDestroying::release() const {
  if (count_.peek() >= BEING_DESTROYED || count_.decrement() != 0) return;
  count_.set(BEING_DESTROYED);
  delete this;
}

WeakLink* RefCountedUnlessBeingDestroying::weakLink() const {
  if (weakLink_ == nullptr) {
    weakLink_ = new WeakLink(const_cast<RefCountedUnlessBeingDestroying*>(this));
    weakLink_->addRef();
  }
  return weakLink_;
}

void RefCountedUnlessBeingDestroying::expireWeakLink() const {
  if (weakLink_ == nullptr) return;
  weakLink_->expire();
  weakLink_->release();
  weakLink_ = nullptr;
}

}  // namespace KX
