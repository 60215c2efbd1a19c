// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/Hooks.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/process/Spawn.h"
#include "tools/responder/Log.h"

namespace DeviceDiscovery::Responder {

using KX::Shell::Child;
using KX::Shell::ChildWatch;
using KX::Shell::Command;
using KX::Shell::Descriptor;

namespace {

// The end of a pipe to read the text from. It is far shorter than what a pipe holds.
XCode openInput(const String& text, Descriptor& input) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return XCode::fromErrno(errno);
  input = Descriptor(ends[0]);
  const Descriptor output(ends[1]);
  const ssize_t written = write(output.get(), text.c_str(), text.length());
  return written < 0 ? XCode::fromErrno(errno) : XCode();
}

}  // namespace

Hooks::Hooks(KXEventLoop& loop, std::uint32_t limitSeconds)
    : loop_(loop), limitMs_(std::uint64_t{limitSeconds} * 1000), limit_(loop.createTimeoutEvent(0, [this] {
        log("%s takes too long and is killed", calls_.front().program.c_str());
        static_cast<void>(child_.signal(SIGKILL));
      })) {}

Hooks::~Hooks() { watch_.stop(); }

void Hooks::run(const String& program, const String& input) {
  const Call call{program, input};
  if (std::find(calls_.begin(), calls_.end(), call) != calls_.end()) return;
  const bool isRunning = !calls_.empty();
  const auto waiting = std::find_if(calls_.begin() + (isRunning ? 1 : 0), calls_.end(),
                                    [&](const Call& other) { return other.program == program; });
  if (waiting != calls_.end()) {
    waiting->input = input;
  } else {
    calls_.push_back(call);
  }
  if (!isRunning) startNext();
}

void Hooks::startNext() {
  while (!calls_.empty()) {
    const XCode result = start(calls_.front());
    if (result.isSuccess()) return;
    log("cannot run %s: %s", calls_.front().program.c_str(), result.toString().c_str());
    calls_.erase(calls_.begin());
  }
}

XCode Hooks::start(const Call& call) {
  Descriptor input;
  XCode result = openInput(call.input, input);
  if (result.isSuccess()) result = spawn(Command::format("%s", {call.program}), -1, -1, child_, input.get());
  if (result.isSuccess()) result = watch_.start(loop_, child_, ChildWatch::Way::PIDFD, [this] { onEnded(); });
  if (result.isSuccess()) {
    limit_->start(limitMs_, false, false);
  } else {
    child_ = Child();
  }
  return result;
}

void Hooks::onEnded() {
  watch_.stop();
  limit_->stop();
  const XCode result = child_.reap();
  child_ = Child();
  if (result.isErr()) log("%s: %s", calls_.front().program.c_str(), result.toString().c_str());
  calls_.erase(calls_.begin());
  startNext();
}

}  // namespace DeviceDiscovery::Responder
