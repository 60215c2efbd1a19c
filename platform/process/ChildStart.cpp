// SPDX-License-Identifier: Apache-2.0
#include "platform/process/ChildStart.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

namespace KX::Shell {

namespace {

constexpr std::size_t STACK_BYTES = 65536;
constexpr int NOT_STARTED = 127;

struct Beginning {
  const ChildStart& start;
  pid_t parent;
  int error = 0;  // written by the child, which shares the memory of the waiting parent
};

bool connect(int from, int to, int mode) {
  // Not close-on-exec: without standard descriptors of its own, the process gets the very number that is wanted.
  const int source = from >= 0 ? from : open("/dev/null", mode);
  return source >= 0 && dup2(source, to) == to;
}

// Ours are close-on-exec; the host's may not be.
void closeFrom(int first) {
#ifdef SYS_close_range
  if (syscall(SYS_close_range, first, ~0U, 0) == 0) return;
#endif
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  const auto end = static_cast<int>(std::min<rlim_t>(limit.rlim_cur, 65536));
  for (int descriptor = first; descriptor < end; ++descriptor) close(descriptor);
}

// Handlers are of the parent's program, and what is ignored would stay so. All signals are blocked meanwhile.
void resetSignals() {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  for (int number = 1; number < NSIG; ++number) sigaction(number, &action, nullptr);
}

bool unblockSignals() {
  sigset_t none;
  sigemptyset(&none);
  return sigprocmask(SIG_SETMASK, &none, nullptr) == 0;
}

// A parent that was gone before the tie was made tells nobody any more.
bool tieToParent(pid_t parent) {
  return prctl(PR_SET_PDEATHSIG, static_cast<unsigned long>(SIGKILL)) == 0 && getppid() == parent;
}

// Runs in the child, on the parent's memory while the parent waits: system calls only, and nothing allocated.
int begin(void* argument) {
  auto& beginning = *static_cast<Beginning*>(argument);
  const ChildStart& start = beginning.start;
  resetSignals();
  if (setpgid(0, 0) == 0 && connect(start.input, STDIN_FILENO, O_RDONLY) &&
      connect(start.output, STDOUT_FILENO, O_WRONLY) && connect(start.errorOutput, STDERR_FILENO, O_WRONLY)) {
    closeFrom(STDERR_FILENO + 1);
    if (tieToParent(beginning.parent) && unblockSignals()) execve(start.path, start.arguments, start.environment);
  }
  beginning.error = errno;
  _exit(NOT_STARTED);
}

}  // namespace

int startChild(const ChildStart& start, pid_t& pid) {
  const std::unique_ptr<char[]> stack(new char[STACK_BYTES]);
  Beginning beginning{start, getpid()};
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  // No handler of this program may run on the memory that the two share for a moment.
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const pid_t child = clone(begin, stack.get() + STACK_BYTES, CLONE_VM | CLONE_VFORK | SIGCHLD, &beginning);
  const int error = child < 0 ? errno : beginning.error;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (child > 0 && error != 0) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  if (error == 0) pid = child;
  return error;
}

}  // namespace KX::Shell
