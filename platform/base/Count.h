// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#define KX_SINGLE_THREADED __libc_single_threaded
#else
#define KX_SINGLE_THREADED false
#endif

namespace KX {

// A reference count that several threads may change. It pays for atomic operations only once the process has a second
// thread, which most agents never do.
class Count {
 public:
  constexpr explicit Count(std::uint32_t value) : value_(value) {}

  void increment() {
    if (KX_SINGLE_THREADED) {
      ++value_;
    } else {
      __atomic_fetch_add(&value_, 1U, __ATOMIC_RELAXED);
    }
  }

  // Returns what is left.
  std::uint32_t decrement() {
    return KX_SINGLE_THREADED ? --value_ : __atomic_sub_fetch(&value_, 1U, __ATOMIC_ACQ_REL);
  }

  std::uint32_t value() const { return __atomic_load_n(&value_, __ATOMIC_ACQUIRE); }
  // Without ordering: enough to tell a mark that is never changed.
  std::uint32_t peek() const { return __atomic_load_n(&value_, __ATOMIC_RELAXED); }
  void set(std::uint32_t value) { __atomic_store_n(&value_, value, __ATOMIC_RELEASE); }

 private:
  std::uint32_t value_;
};

}  // namespace KX
