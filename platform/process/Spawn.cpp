// SPDX-License-Identifier: Apache-2.0
#include "platform/process/Spawn.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

namespace KX::Shell {

namespace {

constexpr const char* DEFAULT_PATH = "/usr/local/bin:/usr/bin:/bin";

// Zero, or the error number of starting it.
int checkProgram(const String& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EACCES;
  return faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

// Collects what posix_spawn is to do; the first error stays.
class SpawnPlan {
 public:
  SpawnPlan() {
    note(posix_spawn_file_actions_init(&actions_));
    note(posix_spawnattr_init(&attributes_));
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;
  ~SpawnPlan() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&actions_);
  }

  void isolate() {
    sigset_t signals;
    sigemptyset(&signals);
    note(posix_spawnattr_setsigmask(&attributes_, &signals));
    sigfillset(&signals);
    sigdelset(&signals, SIGKILL);
    sigdelset(&signals, SIGSTOP);
    note(posix_spawnattr_setsigdefault(&attributes_, &signals));
    note(posix_spawnattr_setpgroup(&attributes_, 0));
    note(
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
  }

  void connect(int input, int output, int errorOutput) {
    connectOne(input, STDIN_FILENO, O_RDONLY);
    connectOne(output, STDOUT_FILENO, O_WRONLY);
    connectOne(errorOutput, STDERR_FILENO, O_WRONLY);
#if defined(__GLIBC__) && __GLIBC_PREREQ(2, 34)
    // Ours are close-on-exec; the host's may not be.
    note(posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
#endif
  }

  // Zero, or the error number.
  int run(const String& path, char* const* arguments, pid_t& pid) const {
    return error_ != 0 ? error_ : posix_spawn(&pid, path.c_str(), &actions_, &attributes_, arguments, environ);
  }

 private:
  void note(int error) {
    if (error_ == 0) error_ = error;
  }
  void connectOne(int from, int to, int mode) {
    note(from < 0 ? posix_spawn_file_actions_addopen(&actions_, to, "/dev/null", mode, 0)
                  : posix_spawn_file_actions_adddup2(&actions_, from, to));
  }

  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
  int error_ = 0;
};

}  // namespace

XCode findProgram(const String& name, String& path) {
  if (name.view().find('/') != std::string_view::npos) {
    path = name;
    const int error = checkProgram(path);
    return error == 0 ? XCode() : XCode::fromErrno(error);
  }
  const char* variable = std::getenv("PATH");
  std::string_view folders = variable == nullptr ? DEFAULT_PATH : variable;
  int error = ENOENT;
  for (;;) {
    const std::size_t end = folders.find(':');
    const std::string_view folder = folders.substr(0, end);
    path = String(folder.empty() ? "." : folder).append("/").append(name);
    const int refusal = checkProgram(path);
    if (refusal == 0) return XCode();
    if (refusal == EACCES) error = EACCES;
    if (end == std::string_view::npos) return XCode::fromErrno(error);
    folders.remove_prefix(end + 1);
  }
}

XCode spawn(const Command& command, int output, int errorOutput, Child& child, int input) {
  XCode result = command.check();
  if (result.isErr()) return result;
  String path;
  result = findProgram(command.arguments()[0], path);
  if (result.isErr()) return result;
  std::vector<char*> arguments;
  arguments.reserve(command.arguments().size() + 1);
  for (const String& argument : command.arguments()) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  SpawnPlan plan;
  plan.isolate();
  plan.connect(input, output, errorOutput);
  pid_t pid = 0;
  const int error = plan.run(path, arguments.data(), pid);
  if (error != 0) return XCode::fromErrno(error);
  child = Child(pid);
  return result;
}

}  // namespace KX::Shell
