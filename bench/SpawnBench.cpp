// SPDX-License-Identifier: Apache-2.0
// What a command costs from its start to its end, and how fast its output comes in, beside the same with bare system
// calls. Compare within one run:
//   spawn-bench --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
//   --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/loop/UvEventLoop.h"
#include "platform/process/ProcessRunner.h"

namespace {

constexpr std::size_t MEGABYTE = 1'000'000;
constexpr const char* SHORT_COMMAND = "/bin/true";
constexpr const char* LONG_OUTPUT = "/usr/bin/head -c 10000000 /dev/zero";
constexpr std::size_t LONG_OUTPUT_BYTES = 10'000'000;

// Memory that the parent has in use, so that copying its page tables would show.
class Ballast {
 public:
  explicit Ballast(std::size_t megabytes) : bytes_(new char[megabytes * MEGABYTE]) {
    std::memset(bytes_.get(), 1, megabytes * MEGABYTE);
    benchmark::DoNotOptimize(bytes_.get());
  }

 private:
  std::unique_ptr<char[]> bytes_;
};

// The bytes that the command printed.
std::size_t runRaw(const KX::Shell::Command& command) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return 0;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::vector<char*> arguments;
  for (const String& argument : command.arguments()) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  pid_t pid = 0;
  posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  static std::array<char, 65536> buffer;
  std::size_t bytes = 0;
  for (ssize_t length = 0; (length = read(ends[0], buffer.data(), buffer.size())) > 0;) {
    bytes += static_cast<std::size_t>(length);
  }
  close(ends[0]);
  waitpid(pid, nullptr, 0);
  return bytes;
}

struct RunnerFixture {
  KX::UvEventLoop loop;
  KX::Shell::ProcessRunner runner{loop};

  std::size_t run(const KX::Shell::Command& command) {
    std::size_t bytes = 0;
    KX::Future<String> future;
    const XCode started = runner.invoke(
        command,
        [&](const XCode&, const String& rest) {
          bytes += rest.length();
          loop.stop();
        },
        [&](const String& piece) { bytes += piece.length(); }, {}, future);
    if (started.isSuccess()) loop.run();
    return bytes;
  }
};

void startToEndRaw(benchmark::State& state) {
  const Ballast ballast(static_cast<std::size_t>(state.range(0)));
  const KX::Shell::Command command{String(SHORT_COMMAND)};
  while (state.KeepRunning()) runRaw(command);
}

void startToEndRunner(benchmark::State& state) {
  const Ballast ballast(static_cast<std::size_t>(state.range(0)));
  const KX::Shell::Command command{String(SHORT_COMMAND)};
  RunnerFixture fixture;
  while (state.KeepRunning()) fixture.run(command);
}

template <class Run>
void measureOutput(benchmark::State& state, Run run) {
  const KX::Shell::Command command{String(LONG_OUTPUT)};
  while (state.KeepRunning()) {
    if (run(command) != LONG_OUTPUT_BYTES) state.SkipWithError("output is missing");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(LONG_OUTPUT_BYTES));
}

void outputRaw(benchmark::State& state) { measureOutput(state, runRaw); }

void outputRunner(benchmark::State& state) {
  RunnerFixture fixture;
  measureOutput(state, [&](const KX::Shell::Command& command) { return fixture.run(command); });
}

BENCHMARK(startToEndRaw)->ArgName("parentMB")->Arg(0)->Arg(200)->UseRealTime();
BENCHMARK(startToEndRunner)->ArgName("parentMB")->Arg(0)->Arg(200)->UseRealTime();
BENCHMARK(outputRaw)->UseRealTime();
BENCHMARK(outputRunner)->UseRealTime();

}  // namespace
