// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

// The median over several rounds, each of which says how many nanoseconds it took what it measures.
template <class Round>
double nanoseconds(const Round& round) {
  std::vector<double> times;
  double total = 0;
  while (times.size() < 3 || (total < 4e8 && times.size() < 500)) total += times.emplace_back(round());
  std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
  return times[times.size() / 2];
}

template <class Call>
double timed(const Call& call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

// A figure of something that does not do what it is to do is none.
inline void require(bool isRight, const char* what) {
  if (isRight) return;
  static_cast<void>(std::fprintf(stderr, "sync-bench: %s\n", what));
  std::exit(1);
}
