// SPDX-License-Identifier: Apache-2.0
#include "bench/limit/RawCommand.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace Limit {

std::size_t runRawCommand(const char* const* arguments) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return 0;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  pid_t pid = 0;
  const int error = posix_spawn(&pid, arguments[0], &actions, nullptr, const_cast<char* const*>(arguments), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  static std::array<char, 65536> buffer;
  std::size_t bytes = 0;
  for (ssize_t length = 0; (length = read(ends[0], buffer.data(), buffer.size())) > 0;) {
    bytes += static_cast<std::size_t>(length);
  }
  close(ends[0]);
  if (error == 0) waitpid(pid, nullptr, 0);
  return bytes;
}

}  // namespace Limit
