// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/process/ChildWatch.h"
#include "platform/process/Future.h"
#include "platform/process/OutputPipe.h"
#include "platform/process/ProcessLimits.h"
#include "platform/process/Shell.h"

namespace KX::Shell {

// One running command, which is its own handle: whoever holds it may signal or close it, from any thread under its
// lock. All else happens on the loop. Its runner keeps it until it has ended; every callback may drop whatever it
// likes, the runner included.
class ProcessFuture final : public IFuture {
 public:
  struct Callbacks {
    Terminated terminated;
    Output output;
    Output errorOutput;
  };

  // ended tells the runner, before the termination is called.
  ProcessFuture(KXEventLoop& loop, const ProcessLimits& limits, Callbacks callbacks,
                std::function<void(ProcessFuture&)> ended);

  // After an error nothing runs.
  [[nodiscard]] XCode start(const Command& command, ChildWatch::Way way);
  // Kills without waiting; a later abandon has less to wait for.
  [[nodiscard]] XCode kill(int signal) override;
  [[nodiscard]] XCode close() override;
  // Kills and reaps it. No callback comes any more.
  void abandon();

 private:
  ~ProcessFuture() override = default;

  using Take = void (ProcessFuture::*)(String);

  void onReadable(OutputPipe& pipe, Take take);
  void onEnded();
  void onTimeLimit();
  void drain(OutputPipe& pipe, Take take);
  void takeOutput(String piece);
  void takeErrorOutput(String piece);
  void takeRest(String piece);
  void keep(const String& piece);
  String limitOutput(String piece);
  // What the limit leaves of a piece, counted with what came before.
  String withinLimit(String piece, std::uint64_t& printed) const;
  void exceed(XCode bound);
  bool isClosed() const;
  void letGo();

  KXEventLoop& loop_;
  const ProcessLimits limits_;
  std::shared_ptr<const Callbacks> callbacks_;  // null once it has ended
  std::function<void(ProcessFuture&)> ended_;
  Child child_;            // under the lock
  bool isClosed_ = false;  // under the lock
  OutputPipe output_;
  OutputPipe errorOutput_;
  ChildWatch watch_;
  std::unique_ptr<TimeoutEvent> timeLimit_;
  std::uint64_t printed_ = 0;
  std::uint64_t errorsPrinted_ = 0;
  String rest_;
  XCode bound_;  // the bound that it met
};

}  // namespace KX::Shell
