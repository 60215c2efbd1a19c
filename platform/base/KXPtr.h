// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstddef>
#include <mutex>
#include <utility>

namespace KX {

// The counting pointer behind the names below: it holds one reference to an object that counts itself.
template <class T>
class Counted {
 public:
  Counted() = default;
  Counted(std::nullptr_t) {}
  Counted(T* object) : object_(object) {
    if (object_ != nullptr) object_->addRef();
  }
  Counted(const Counted& other) : Counted(other.object_) {}
  Counted(Counted&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <std::derived_from<T> U>
  Counted(const Counted<U>& other) : Counted(static_cast<T*>(other.get())) {}
  ~Counted() { reset(); }

  Counted& operator=(Counted other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  // The pointer is null before the object goes, so a destructor that looks back finds nothing.
  void reset() {
    T* object = std::exchange(object_, nullptr);
    if (object != nullptr) object->release();
  }

  T* get() const { return object_; }
  T& operator*() const { return *object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  bool operator==(const Counted& other) const { return object_ == other.object_; }
  bool operator==(std::nullptr_t) const { return object_ == nullptr; }

 private:
  T* object_ = nullptr;
};

}  // namespace KX

// For objects of one thread.
template <class T>
using KXLWPtr = KX::Counted<T>;

// For objects that other threads may hold.
template <class T>
using KXPtr = KX::Counted<T>;

// The same for objects with a lock of their own.
template <class T>
using KXPPtr = KX::Counted<T>;

// Holds a reference to an object and the object's recursive lock for its scope.
template <class T>
class KXLockPtr {
 public:
  explicit KXLockPtr(const KX::Counted<T>& object) : object_(object), guard_(object_->getLock()) {}
  T& operator*() const { return *object_; }
  T* operator->() const { return object_.get(); }

 private:
  KX::Counted<T> object_;
  std::lock_guard<std::recursive_mutex> guard_;
};
