// SPDX-License-Identifier: Apache-2.0
#include "platform/process/ProcessFuture.h"

#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <mutex>
#include <utility>

#include "platform/process/Spawn.h"

namespace KX::Shell {

namespace {

constexpr unsigned TIMER_PRIORITY = 1;
// A command that prints without end shares the loop with everything else.
constexpr unsigned PIECES_A_TURN = 4;

}  // namespace

ProcessFuture::ProcessFuture(KXEventLoop& loop, const ProcessLimits& limits, Callbacks callbacks,
                             std::function<void(ProcessFuture&)> ended)
    : loop_(loop),
      limits_(limits),
      callbacks_(std::make_shared<const Callbacks>(std::move(callbacks))),
      ended_(std::move(ended)) {}

XCode ProcessFuture::start(const Command& command, ChildWatch::Way way) {
  XCode result = output_.open(loop_, [this] { onReadable(output_, &ProcessFuture::takeOutput); });
  if (result.isErr()) return result;
  result = errorOutput_.open(loop_, [this] { onReadable(errorOutput_, &ProcessFuture::takeErrorOutput); });
  if (result.isErr()) return result;
  result = spawn(command, output_.childEnd(), errorOutput_.childEnd(), child_);
  if (result.isErr()) return result;
  output_.closeChildEnd();
  errorOutput_.closeChildEnd();
  result = watch_.start(loop_, child_, way, [this] { onEnded(); });
  if (result.isErr() || limits_.runSeconds == 0) return result;
  timeLimit_ = loop_.createTimeoutEvent(TIMER_PRIORITY, [this] { onTimeLimit(); });
  timeLimit_->start(std::uint64_t{limits_.runSeconds} * 1000, false, false);
  return result;
}

XCode ProcessFuture::kill(int signal) {
  const std::lock_guard guard(getLock());
  return child_.signal(signal);
}

XCode ProcessFuture::close() {
  const std::lock_guard guard(getLock());
  isClosed_ = true;
  return XCode();
}

void ProcessFuture::abandon() {
  letGo();
  callbacks_.reset();
  const std::lock_guard guard(getLock());
  child_ = Child();
}

void ProcessFuture::onReadable(OutputPipe& pipe, Take take) {
  const KXPtr<IFuture> kept(this);
  String piece;
  for (unsigned i = 0; i < PIECES_A_TURN && pipe.read(piece); ++i) {
    const bool isFull = piece.length() == OutputPipe::PIECE;
    (this->*take)(std::move(piece));
    if (!isFull) return;
  }
}

void ProcessFuture::onEnded() {
  const KXPtr<ProcessFuture> kept(this);
  watch_.stop();
  timeLimit_.reset();
  drain(output_, &ProcessFuture::takeRest);
  drain(errorOutput_, &ProcessFuture::takeErrorOutput);
  if (callbacks_ == nullptr) return;
  letGo();
  XCode result;
  {
    const std::lock_guard guard(getLock());
    result = child_.reap();
  }
  if (bound_.isErr()) result = bound_;
  const auto callbacks = std::exchange(callbacks_, nullptr);
  ended_(*this);
  callbacks->terminated(result, std::move(rest_));
}

void ProcessFuture::onTimeLimit() {
  // On a loop that was held up, a command that ended in time may be noticed late.
  if (child_.hasEnded()) return onEnded();
  exceed(XCode::error(String::format("Run time limit of %" PRIu32 " s exceeded", limits_.runSeconds)));
}

// A grandchild may still print: what is there now is taken, and no more.
void ProcessFuture::drain(OutputPipe& pipe, Take take) {
  String piece;
  for (std::size_t left = pipe.pending(); left > 0 && pipe.read(piece);) {
    left -= std::min(left, piece.length());
    (this->*take)(std::move(piece));
  }
}

void ProcessFuture::takeOutput(String piece) {
  const auto callbacks = callbacks_;
  piece = limitOutput(std::move(piece));
  if (isClosed() || !callbacks->output) return keep(piece);
  if (!piece.isEmpty()) callbacks->output(std::move(piece));
}

void ProcessFuture::takeErrorOutput(String piece) {
  const auto callbacks = callbacks_;
  piece = withinLimit(std::move(piece), errorsPrinted_);
  if (!isClosed() && !piece.isEmpty()) callbacks->errorOutput(std::move(piece));
}

void ProcessFuture::takeRest(String piece) { keep(limitOutput(std::move(piece))); }

void ProcessFuture::keep(const String& piece) {
  if (rest_.isEmpty()) {
    rest_ = piece;
  } else {
    rest_.append(piece);
  }
}

String ProcessFuture::limitOutput(String piece) {
  const std::size_t length = piece.length();
  piece = withinLimit(std::move(piece), printed_);
  if (piece.length() == length) return piece;
  exceed(XCode::error(String::format("Output limit of %" PRIu64 " bytes exceeded", limits_.outputBytes)));
  output_.close();
  errorOutput_.close();
  return piece;
}

String ProcessFuture::withinLimit(String piece, std::uint64_t& printed) const {
  if (limits_.outputBytes == 0) return piece;
  const std::uint64_t left = limits_.outputBytes - printed;
  if (piece.length() > left) piece = String(piece.view().substr(0, static_cast<std::size_t>(left)));
  printed += piece.length();
  return piece;
}

void ProcessFuture::exceed(XCode bound) {
  if (bound_.isSuccess()) bound_ = std::move(bound);
  static_cast<void>(kill(SIGKILL));
}

bool ProcessFuture::isClosed() const {
  const std::lock_guard guard(getLock());
  return isClosed_;
}

void ProcessFuture::letGo() {
  watch_.stop();
  timeLimit_.reset();
  output_.close();
  errorOutput_.close();
}

}  // namespace KX::Shell
