// SPDX-License-Identifier: Apache-2.0
// What a command costs from its start to its end, from a small parent and from a large one, and how fast its output
// comes in: with the library's runner, with libuv, and with bare system calls, which are the limit. In each round each
// runs once, so that whatever else the machine does meets all of them. Prints for each "what who milliseconds", the
// median, and the median over the rounds of the ratio to the limit.
//   spawn-bench [ROUNDS]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "bench/limit/RawCommand.h"
#include "bench/spawn/Commands.h"

namespace {

using Figures = std::vector<double>;

constexpr std::size_t BALLAST_BYTES = 200'000'000;
constexpr std::size_t OUTPUT_BYTES = 10'000'000;
constexpr const char* SHORT_COMMAND[] = {"/bin/true", nullptr};
constexpr const char* LONG_COMMAND[] = {"/usr/bin/head", "-c", "10000000", "/dev/zero", nullptr};
constexpr std::size_t ROUNDS_A_BLOCK = 15;

struct Contender {
  const char* name;
  std::size_t (*run)(Arguments arguments);
};
constexpr Contender CONTENDERS[] = {
    {"limit", Limit::runRawCommand}, {"runner", runWithRunner}, {"libuv", runWithLibuv}};

double median(Figures figures) {
  const auto middle = figures.begin() + static_cast<std::ptrdiff_t>(figures.size() / 2);
  std::nth_element(figures.begin(), middle, figures.end());
  return *middle;
}

double milliseconds(const Contender& contender, Arguments arguments, std::size_t expected) {
  const auto start = std::chrono::steady_clock::now();
  const std::size_t bytes = contender.run(arguments);
  const std::chrono::duration<double, std::milli> elapsed = std::chrono::steady_clock::now() - start;
  if (bytes == expected) return elapsed.count();
  static_cast<void>(std::fprintf(stderr, "spawn-bench: %s read %zu bytes\n", contender.name, bytes));
  std::exit(1);
}

// The times of one kind of command, of each contender.
class Comparison {
 public:
  Comparison(const char* what, Arguments arguments, std::size_t expected)
      : what_(what), arguments_(arguments), expected_(expected) {}

  void run(std::size_t rounds) {
    for (std::size_t i = 0; i < rounds; ++i) {
      for (std::size_t c = 0; c < std::size(CONTENDERS); ++c) {
        times_[c].push_back(milliseconds(CONTENDERS[c], arguments_, expected_));
        ratios_[c].push_back(times_[c].back() / times_[0].back());
      }
    }
  }

  // Of the latest block.
  double latestMedian(std::size_t contender) const {
    const Figures& times = times_[contender];
    return median(Figures(times.end() - ROUNDS_A_BLOCK, times.end()));
  }

  void print() const {
    for (std::size_t c = 0; c < std::size(CONTENDERS); ++c) {
      std::printf("%s %s %.4f %.4f\n", what_, CONTENDERS[c].name, median(times_[c]), median(ratios_[c]));
    }
  }

 private:
  const char* what_;
  Arguments arguments_;
  std::size_t expected_;
  Figures times_[std::size(CONTENDERS)];
  Figures ratios_[std::size(CONTENDERS)];
};

// Memory that the parent has in use, so that copying its page tables would show.
std::unique_ptr<char[]> ballast() {
  std::unique_ptr<char[]> bytes(new char[BALLAST_BYTES]);
  std::memset(bytes.get(), 1, BALLAST_BYTES);
  return bytes;
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t rounds = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 600;
  Comparison small("small", SHORT_COMMAND, 0);
  Comparison large("large", SHORT_COMMAND, 0);
  Comparison output("output", LONG_COMMAND, OUTPUT_BYTES);
  Figures growth[std::size(CONTENDERS)];
  for (std::size_t round = 0; round < std::max(rounds, ROUNDS_A_BLOCK); round += ROUNDS_A_BLOCK) {
    small.run(ROUNDS_A_BLOCK);
    output.run(ROUNDS_A_BLOCK / 5);
    const auto held = ballast();
    large.run(ROUNDS_A_BLOCK);
    for (std::size_t c = 0; c < std::size(CONTENDERS); ++c)
      growth[c].push_back(large.latestMedian(c) / small.latestMedian(c));
  }
  small.print();
  large.print();
  output.print();
  for (std::size_t c = 0; c < std::size(CONTENDERS); ++c)
    std::printf("growth %s 0 %.4f\n", CONTENDERS[c].name, median(growth[c]));
}
