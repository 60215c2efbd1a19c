// SPDX-License-Identifier: Apache-2.0
// Runs a command and writes what it cost to a file: seconds on the clock, seconds of processor time, KiB of
// memory at the peak, and the exit status. A process starts out with the peak of the one that starts it, so that has to
// be small.
//   measure FILE COMMAND [ARG…]
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace {

double now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

}  // namespace

int main(int count, char** words) {
  std::FILE* const report = count < 3 ? nullptr : std::fopen(words[1], "we");
  if (report == nullptr) return 2;
  const double start = now();
  const pid_t child = fork();
  if (child == 0) {
    execvp(words[2], words + 2);
    std::perror(words[2]);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child) return 2;
  std::fprintf(report, "%.6f %.6f %ld %d\n", now() - start, seconds(usage.ru_utime) + seconds(usage.ru_stime),
               usage.ru_maxrss, WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
  return std::fclose(report) == 0 ? 0 : 2;
}
