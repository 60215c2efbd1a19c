// SPDX-License-Identifier: Apache-2.0
// cron_parse_expr and cron_next over expressions as people write them. Each expression is timed on its own; the
// counters give the median and the 90th percentile over the expressions, in nanoseconds a call. CTime is the yardstick
// of the same run: what the C library takes to turn a time into a date and back, which a search built on it does many
// times.
#include <benchmark/benchmark.h>
#include <ccronexpr.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <vector>

namespace {

constexpr std::array kExpressions = {
    "* * * * * *",       "*/5 * * * * *",  "*/15 * * * * *", "0 * * * * *",      "0 */5 * * * *",
    "0 */15 8-18 * * *", "0 0 * * * *",    "0 30 2 * * *",   "0 0 0 * * *",      "0 0 6,12,18 * * *",
    "0 0 7 ? * MON-FRI", "0 15 3 ? * SUN", "0 0 0 1 * *",    "0 30 23 30 1/3 ?", "0 0 0 31 * *",
    "0 0 12 1-7 * MON",  "0 0 9 13 * FRI", "0 0 0 1 JAN *",  "0 0 0 24 12 *",    "0 0 0 29 2 *",
};

// Dates spread over 30 years, at all times of day.
std::vector<std::time_t> dates() {
  std::vector<std::time_t> result;
  for (std::time_t date = 946684800; result.size() < 200; date += 54 * 86400 + 34567) result.push_back(date);
  return result;
}

// Times `call` on every expression in turn until the benchmark has run long enough.
class PerExpression {
 public:
  template <typename Call>
  void measure(std::size_t expression, std::size_t calls, const Call& call) {
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < calls; ++i) call(i);
    const std::chrono::duration<double, std::nano> elapsed = std::chrono::steady_clock::now() - start;
    nanoseconds_[expression].push_back(elapsed.count() / static_cast<double>(calls));
  }

  void report(benchmark::State& state) {
    std::vector<double> typical;
    for (std::vector<double>& samples : nanoseconds_) typical.push_back(percentile(samples, 50));
    state.counters["median_ns"] = percentile(typical, 50);
    state.counters["p90_ns"] = percentile(typical, 90);
    state.counters["max_ns"] = percentile(typical, 100);
  }

 private:
  // By nearest rank.
  static double percentile(std::vector<double>& values, std::size_t percent) {
    const std::size_t rank = (values.size() * percent + 99) / 100;
    const auto value = values.begin() + static_cast<std::ptrdiff_t>(rank - 1);
    std::nth_element(values.begin(), value, values.end());
    return *value;
  }

  std::array<std::vector<double>, kExpressions.size()> nanoseconds_;
};

void CronParse(benchmark::State& state) {
  PerExpression times;
  for ([[maybe_unused]] auto round : state)
    for (std::size_t i = 0; i < kExpressions.size(); ++i)
      times.measure(i, 50, [&](std::size_t) {
        cron_expr expression;
        const char* error = nullptr;
        cron_parse_expr(kExpressions[i], &expression, &error);
        benchmark::DoNotOptimize(expression);
        benchmark::DoNotOptimize(error);
      });
  times.report(state);
}
BENCHMARK(CronParse);

void CronNext(benchmark::State& state) {
  const std::vector<std::time_t> starts = dates();
  std::array<cron_expr, kExpressions.size()> expressions;
  for (std::size_t i = 0; i < kExpressions.size(); ++i) cron_parse_expr(kExpressions[i], &expressions[i], nullptr);
  PerExpression times;
  for ([[maybe_unused]] auto round : state)
    for (std::size_t i = 0; i < kExpressions.size(); ++i)
      times.measure(i, starts.size(),
                    [&](std::size_t date) { benchmark::DoNotOptimize(cron_next(&expressions[i], starts[date])); });
  times.report(state);
}
BENCHMARK(CronNext);

// What a search costs at worst: one that finds nothing in 40 years.
void CronNextNever(benchmark::State& state) {
  cron_expr expression;
  cron_parse_expr("0 0 0 31 2,4,6,9,11 *", &expression, nullptr);
  for ([[maybe_unused]] auto round : state) benchmark::DoNotOptimize(cron_next(&expression, 1700000000));
}
BENCHMARK(CronNextNever);

void CTime(benchmark::State& state) {
  const std::vector<std::time_t> starts = dates();
  std::size_t i = 0;
  for ([[maybe_unused]] auto round : state) {
    std::tm fields;
    gmtime_r(&starts[i++ % starts.size()], &fields);
    benchmark::DoNotOptimize(timegm(&fields));
  }
}
BENCHMARK(CTime);

}  // namespace
