// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <utility>

#include "platform/base/XCode.h"
#include "platform/process/Descriptor.h"

namespace KX::Shell {

// A child process that leads a process group of its own, or none. Signals go to the whole group. Until the child has
// been reaped its id is not used again, so neither signal nor wait can meet a stranger. What goes out of scope unreaped
// is killed and reaped, which waits for its end.
class Child {
 public:
  Child() = default;
  explicit Child(pid_t pid) : pid_(pid) {}
  Child(Child&& other) noexcept : pid_(std::exchange(other.pid_, 0)) {}
  Child& operator=(Child&& other) noexcept {
    std::swap(pid_, other.pid_);
    return *this;
  }
  ~Child();

  explicit operator bool() const { return pid_ != 0; }
  pid_t pid() const { return pid_; }

  // A descriptor that becomes readable when the child has ended; none where the system has no such thing.
  Descriptor openPidfd() const;
  // Whether it has ended and can be reaped.
  bool hasEnded() const;
  // An error when there is nothing to signal.
  XCode signal(int signal) const;
  // Kills what is left of the group of a child that has ended, waiting for the end first, and takes the child out of
  // the process table. Success for exit status 0, else an error that names status or signal.
  XCode reap();

 private:
  pid_t pid_ = 0;
};

}  // namespace KX::Shell
