// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <ctime>

// The processor time in seconds that the calling thread needs for a piece of work: the least of three tries, each with
// what prepare makes for it. For comparing two pieces of work in one run.
template <class Prepare, class Work>
double effortOf(Prepare prepare, Work work) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  };
  double least = 1e9;
  for (int round = 0; round < 3; ++round) {
    auto prepared = prepare();
    const double start = now();
    work(*prepared);
    least = std::min(least, now() - start);
  }
  return least;
}
