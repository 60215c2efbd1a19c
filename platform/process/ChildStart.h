// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

namespace KX::Shell {

// What a child process is to become.
struct ChildStart {
  const char* path;
  char* const* arguments;  // ended by null, as the environment
  char* const* environment;
  int input;  // 3 or above, as the others; -1 is nothing and nowhere
  int output;
  int errorOutput;
};

// Makes a child that leads a process group of its own and has the signals of a fresh program and the three descriptors,
// no other. It dies with the thread that calls this, however that ends; a program that gains rights at its start (a
// set-user-ID bit, file capabilities) loses that tie by the kernel's rules. Nothing of this process is copied. Zero and
// the child's id, or the number of the error. As posix_spawn, which cannot make that tie.
int startChild(const ChildStart& start, pid_t& pid);

}  // namespace KX::Shell
