// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

constexpr std::size_t SIZES[] = {1000, 10000, 100000};

inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// The median over several rounds, each of which says how many nanoseconds it took what it measures.
template <class Round>
double nanoseconds(const Round& round, std::size_t leastRounds = 3, double atLeast = 4e8) {
  std::vector<double> times;
  double total = 0;
  while (times.size() < leastRounds || (total < atLeast && times.size() < 500)) total += times.emplace_back(round());
  return median(times);
}

template <class Call>
double timed(const Call& call) {
  const auto start = std::chrono::steady_clock::now();
  call();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

// What a node takes for each of the sizes, and how that grows.
inline void printRow(const char* what, const std::vector<double>& figures) {
  std::printf("%-44s %9.1f %9.1f %9.1f %8.2f x\n", what, figures[0], figures[1], figures[2], figures[2] / figures[0]);
}

// A figure of something that does not do what it is to do is none.
inline void require(bool isRight, const char* what) {
  if (isRight) return;
  static_cast<void>(std::fprintf(stderr, "sync-bench: %s\n", what));
  std::exit(1);
}
