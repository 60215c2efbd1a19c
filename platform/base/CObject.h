// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>

#include "platform/base/Export.h"
#include "platform/base/RefCounted.h"

// Names an interface at run time: every type has an address of its own.
using KXInterfaceId = const void*;
template <class T>
KX_EXPORT inline constexpr char KX_INTERFACE_TAG = 0;
template <class T>
KXInterfaceId kxInterfaceId() {
  return &KX_INTERFACE_TAG<T>;
}

// Base of the objects that take part in the service framework: reference counted, with a recursive lock of its own, and
// asked at run time which interfaces it has.
class KX_EXPORT CObject : public KX::RefCountedUnlessBeingDestroying {
 public:
  std::recursive_mutex& getLock() const { return lock_; }
  // The object as the interface named, or null when it has no such interface.
  virtual void* queryInterface(KXInterfaceId) { return nullptr; }

 protected:
  ~CObject() override = default;

 private:
  mutable std::recursive_mutex lock_;
};

// Gives a class its object base and its interfaces, and answers queryInterface for all of them.
template <class Derived, class Base, class... Interfaces>
class CInherit : public Base, public Interfaces... {
 public:
  using Base::Base;
  void* queryInterface(KXInterfaceId id) override {
    void* found = nullptr;
    ((id == kxInterfaceId<Interfaces>() ? static_cast<void>(found = static_cast<Interfaces*>(this))
                                        : static_cast<void>(0)),
     ...);
    if (id == kxInterfaceId<Derived>()) found = static_cast<Derived*>(this);
    return found != nullptr ? found : Base::queryInterface(id);
  }

 protected:
  ~CInherit() override = default;
};
