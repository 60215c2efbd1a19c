// SPDX-License-Identifier: Apache-2.0
#include "platform/process/Spawn.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <vector>

#include "platform/process/ChildStart.h"

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

// Of the environment a program gets what it needs to find files, to speak and to tell the time. The rest is the host's
// own: its keys and addresses are none of a tool's business.
constexpr std::string_view PASSED_ON[] = {"PATH", "LANG", "TZ"};

std::vector<char*> environmentOfPrograms() {
  std::vector<char*> result;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    const std::string_view name = text.substr(0, text.find('='));
    if (std::find(std::begin(PASSED_ON), std::end(PASSED_ON), name) != std::end(PASSED_ON)) result.push_back(*variable);
  }
  result.push_back(nullptr);
  return result;
}

// Where SIGCHLD is ignored, as a parent may have left it, the kernel reaps every child itself and nobody learns how it
// ended.
void keepExitStatus() {
  struct sigaction action {};
  if (sigaction(SIGCHLD, nullptr, &action) != 0 || action.sa_handler != SIG_IGN) return;
  action.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &action, nullptr);
}

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
  const std::vector<char*> environment = environmentOfPrograms();
  keepExitStatus();
  pid_t pid = 0;
  const int error = startChild({path.c_str(), arguments.data(), environment.data(), input, output, errorOutput}, pid);
  if (error != 0) return XCode::fromErrno(error);
  child = Child(pid);
  return result;
}

}  // namespace KX::Shell
