// SPDX-License-Identifier: Apache-2.0
// What the tests of the process layer run: one behaviour per first argument.
#include <dirent.h>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

namespace {

void print(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written <= 0) _exit(99);
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

int hang() {
  print(STDOUT_FILENO, "ready\n");
  for (;;) pause();
}

// 0 bytes is without end.
int spam(int descriptor, std::size_t bytes) {
  static std::array<char, 65536> block;
  block.fill('x');
  for (std::size_t left = bytes; bytes == 0 || left > 0;) {
    const std::size_t length = bytes == 0 ? block.size() : std::min(left, block.size());
    print(descriptor, std::string_view(block.data(), length));
    left -= length;
  }
  return 0;
}

// A child of the child that keeps the pipes open; the named pipe is open as long as either of them lives. Returns,
// having printed its id, once it is where it stays.
void startGrandchild(const char* namedPipe, bool inOwnSession) {
  const int alive = open(namedPipe, O_WRONLY);
  int ready[2];
  if (alive < 0 || pipe(ready) != 0) _exit(99);
  const pid_t pid = fork();
  if (pid < 0) _exit(99);
  if (pid == 0) {
    if (inOwnSession) setsid();
    print(ready[1], "!");
    for (;;) pause();
  }
  char mark = 0;
  if (read(ready[0], &mark, 1) != 1) _exit(99);
  std::printf("%d\n", static_cast<int>(pid));
  std::fflush(stdout);
}

int listDescriptors() {
  DIR* folder = opendir("/proc/self/fd");
  std::vector<int> numbers;
  while (const dirent* entry = readdir(folder)) {
    if (entry->d_name[0] != '.') numbers.push_back(std::atoi(entry->d_name));
  }
  std::sort(numbers.begin(), numbers.end());
  for (const int number : numbers) {
    if (number != dirfd(folder)) std::printf("%d ", number);
  }
  closedir(folder);
  return 0;
}

// Numbers of the signals that are ignored, then of those that are blocked.
int listSignals() {
  sigset_t blocked;
  sigprocmask(SIG_BLOCK, nullptr, &blocked);
  for (int number = 1; number < 32; ++number) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) std::printf("ignored %d ", number);
    if (sigismember(&blocked, number) == 1) std::printf("blocked %d ", number);
  }
  return 0;
}

int countInput() {
  char buffer[256];
  std::size_t bytes = 0;
  ssize_t length = 0;
  while ((length = read(STDIN_FILENO, buffer, sizeof(buffer))) > 0) bytes += static_cast<std::size_t>(length);
  std::printf("%zu", bytes);
  return 0;
}

int printArguments(int count, char** arguments) {
  for (int i = 0; i < count; ++i) std::printf("[%s]", arguments[i]);
  return 0;
}

// Goes on after nobody can read it any more.
int closeOutput() {
  print(STDOUT_FILENO, "early");
  close(STDOUT_FILENO);
  print(STDERR_FILENO, "late");
  close(STDERR_FILENO);
  usleep(5000);
  return 3;
}

int ignoreTermination() {
  std::signal(SIGTERM, SIG_IGN);
  return hang();
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view what = count > 1 ? arguments[1] : "";
  const char* value = count > 2 ? arguments[2] : "";
  if (what == "print") return print(STDOUT_FILENO, value), 0;
  if (what == "print-error") return print(STDERR_FILENO, value), 0;
  if (what == "print-both") return print(STDOUT_FILENO, "output"), print(STDERR_FILENO, "error"), 0;
  if (what == "print-both-and-hang") return print(STDERR_FILENO, "error"), hang();
  if (what == "spam") return spam(STDOUT_FILENO, std::strtoul(value, nullptr, 10));
  if (what == "spam-error") return spam(STDERR_FILENO, std::strtoul(value, nullptr, 10));
  if (what == "spam-both") return spam(STDOUT_FILENO, 1000), spam(STDERR_FILENO, std::strtoul(value, nullptr, 10));
  if (what == "exit") return std::atoi(value);
  if (what == "kill-itself") return std::raise(std::atoi(value));
  if (what == "hang") return hang();
  if (what == "ignore-termination") return ignoreTermination();
  if (what == "leave-grandchild") return startGrandchild(value, false), 0;
  if (what == "leave-grandchild-outside") return startGrandchild(value, true), 0;
  if (what == "hang-with-grandchild") return startGrandchild(value, false), hang();
  if (what == "close-output") return closeOutput();
  if (what == "descriptors") return listDescriptors();
  if (what == "signals") return listSignals();
  if (what == "leads-group") return getpgrp() == getpid() ? 0 : 1;
  if (what == "count-input") return countInput();
  if (what == "arguments") return printArguments(count - 2, arguments + 2);
  return 98;
}
