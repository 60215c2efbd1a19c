// SPDX-License-Identifier: Apache-2.0
#include "platform/process/ProcessRunner.h"

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <iterator>
#include <utility>

#include "platform/process/Spawn.h"

namespace KX::Shell {

namespace {

using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;

constexpr milliseconds LONGEST_PAUSE{50};

bool isReadable(int descriptor) {
  pollfd entry{descriptor, POLLIN, 0};
  return poll(&entry, 1, 0) > 0;
}

enum class Wait { ENDED, TIME_IS_UP, STOPPED };

// Sleeps until the child has ended, the time is up (a time of zero never is) or the stop has become readable. Without a
// pidfd it looks again and again, ever more rarely: a SIGCHLD may go to any thread, so that none can wait for it.
Wait waitForEnd(const Child& child, const Descriptor& pidfd, int stop, std::chrono::seconds limit) {
  const SteadyClock::time_point start = SteadyClock::now();
  milliseconds pause{1};
  while (!child.hasEnded()) {
    milliseconds wait{-1};
    if (limit.count() != 0) {
      wait = std::chrono::ceil<milliseconds>(start + limit - SteadyClock::now());
      if (wait.count() <= 0) return Wait::TIME_IS_UP;
    }
    if (!pidfd) {
      wait = limit.count() == 0 ? pause : std::min(wait, pause);
      pause = std::min(pause * 2, LONGEST_PAUSE);
    }
    pollfd entries[] = {{pidfd.get(), POLLIN, 0}, {stop, POLLIN, 0}};
    poll(entries, std::size(entries), static_cast<int>(std::min<std::int64_t>(wait.count(), 1'000'000)));
    if (entries[1].revents != 0) return Wait::STOPPED;
  }
  return Wait::ENDED;
}

XCode stopped() { return XCode::error("Stopped"_s); }

}  // namespace

ProcessRunner::ProcessRunner(KXEventLoop& loop, const ProcessLimits& limits, ChildWatch::Way way)
    : loop_(loop), limits_(limits), way_(way) {
  loop_.provide<Runner>(this);
}

ProcessRunner::~ProcessRunner() {
  if (loop_.service<Runner>() == this) loop_.provide<Runner>(nullptr);
  // All die at once, so that their ends are waited for together.
  for (const auto& process : running_) static_cast<void>(process->kill(SIGKILL));
  for (const auto& process : running_) process->abandon();
}

XCode ProcessRunner::invoke(const Command& command, Terminated terminated, Output output, Output errorOutput,
                            Future<String>& future) {
  const KXPtr<ProcessFuture> process(
      new ProcessFuture(loop_, limits_, {std::move(terminated), std::move(output), std::move(errorOutput)},
                        [this](const ProcessFuture& ended) { forget(ended); }));
  XCode result = process->start(command, way_);
  if (result.isErr()) return result;
  running_.push_back(process);
  future.set(process);
  return result;
}

XCode ProcessRunner::execute(const Command& command) {
  if (isReadable(stop_)) return stopped();
  Child child;
  XCode result = spawn(command, -1, -1, child);
  if (result.isErr()) return result;
  const Descriptor pidfd = way_ == ChildWatch::Way::PIDFD ? child.openPidfd() : Descriptor();
  const Wait wait = waitForEnd(child, pidfd, stop_, std::chrono::seconds(executeSeconds()));
  if (wait == Wait::ENDED) return child.reap();
  static_cast<void>(child.signal(SIGKILL));
  static_cast<void>(child.reap());
  if (wait == Wait::STOPPED) return stopped();
  return XCode::error(String::format("Run time limit of %" PRIu32 " s exceeded", executeSeconds()));
}

// Of two bounds the lower one counts; 0 is none.
std::uint32_t ProcessRunner::executeSeconds() const {
  if (limits_.runSeconds == 0 || limits_.executeSeconds == 0) return limits_.executeSeconds;
  return std::min(limits_.runSeconds, limits_.executeSeconds);
}

void ProcessRunner::forget(const ProcessFuture& process) {
  const auto found = std::find_if(running_.begin(), running_.end(), [&](const auto& p) { return p.get() == &process; });
  if (found == running_.end()) return;
  std::swap(*found, running_.back());
  running_.pop_back();
}

}  // namespace KX::Shell
