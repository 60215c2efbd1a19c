// SPDX-License-Identifier: Apache-2.0
#include "platform/testing/FakeShell.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

namespace KX::Testing {

namespace {

XCode resultText(const char* format, int value) {
  return XCode::error(String(format).append(String::format("%d", value)));
}

}  // namespace

// A command that runs: its script, how far it has come, and its handle.
class FakeShell::Run final : public IFuture {
 public:
  struct Callbacks {
    Shell::Terminated terminated;
    Shell::Output output;
    Shell::Output errorOutput;
  };

  Run(FakeShell& shell, const String& line, Script script, Callbacks callbacks)
      : shell_(&shell),
        loop_(shell.loop_),
        line_(line),
        script_(std::move(script)),
        callbacks_(std::make_shared<const Callbacks>(std::move(callbacks))),
        delay_(loop_.createTimeoutEvent(1, [this] { proceed(); })) {}

  const String& line() const { return line_; }

  void start() {
    loop_.post([run = KXPtr<Run>(this)] {
      if (!run->isKilled_) run->proceed();
    });
  }

  XCode kill(int signal) override {
    if (hasEnded()) return XCode::fromErrno(ESRCH);
    if (std::exchange(isKilled_, true)) return XCode();
    delay_->stop();
    loop_.post([run = KXPtr<Run>(this), signal] { run->end(resultText("Killed by signal ", signal), String()); });
    return XCode();
  }

  XCode close() override {
    isClosed_ = true;
    return XCode();
  }

  void abandon() {
    callbacks_.reset();
    delay_.reset();
  }

  void print(const String& piece) {
    const auto callbacks = callbacks_;
    if (isClosed_ || !callbacks->output) {
      kept_.append(piece);
    } else {
      callbacks->output(piece);
    }
  }

  void printError(const String& piece) {
    const auto callbacks = callbacks_;
    if (!isClosed_) callbacks->errorOutput(piece);
  }

  void end(const XCode& result, const String& rest) {
    if (hasEnded()) return;
    const KXPtr<Run> self(this);
    const auto callbacks = callbacks_;
    const String output = kept_.append(rest);
    abandon();
    shell_->forget(*this);
    callbacks->terminated(result, output);
  }

 private:
  bool hasEnded() const { return callbacks_ == nullptr; }

  void proceed() {
    const KXPtr<Run> self(this);
    while (!hasEnded() && !isKilled_) {
      if (next_ == script_.steps_.size()) {
        if (!script_.hangs_) end(script_.result_, script_.rest_);
        return;
      }
      const Script::Step& step = script_.steps_[next_++];
      if (step.kind == Script::Kind::DELAY) {
        delay_->start(static_cast<std::uint64_t>(step.delay.count()), false, false);
        return;
      }
      step.kind == Script::Kind::OUTPUT ? print(step.piece) : printError(step.piece);
    }
  }

  FakeShell* shell_;
  KXEventLoop& loop_;
  const String line_;
  const Script script_;
  std::shared_ptr<const Callbacks> callbacks_;  // null once it has ended
  std::unique_ptr<TimeoutEvent> delay_;
  std::size_t next_ = 0;
  String kept_;
  bool isClosed_ = false;
  bool isKilled_ = false;
};

FakeShell::Script& FakeShell::Script::prints(const String& piece) {
  steps_.push_back({Kind::OUTPUT, piece, {}});
  return *this;
}

FakeShell::Script& FakeShell::Script::printsError(const String& piece) {
  steps_.push_back({Kind::ERROR_OUTPUT, piece, {}});
  return *this;
}

FakeShell::Script& FakeShell::Script::after(std::chrono::milliseconds delay) {
  steps_.push_back({Kind::DELAY, String(), delay});
  return *this;
}

FakeShell::Script& FakeShell::Script::ends(XCode result, const String& rest) {
  result_ = std::move(result);
  rest_ = rest;
  return *this;
}

FakeShell::Script& FakeShell::Script::exits(int status) {
  return ends(status == 0 ? XCode() : resultText("Exit status ", status));
}

FakeShell::Script& FakeShell::Script::hangs() {
  hangs_ = true;
  return *this;
}

FakeShell::Script& FakeShell::Script::isRefused(XCode error) {
  refusal_ = std::move(error);
  return *this;
}

FakeShell::FakeShell(KXEventLoop& loop) : loop_(loop) { loop_.provide<Shell::Runner>(this); }

FakeShell::~FakeShell() {
  if (loop_.service<Shell::Runner>() == this) loop_.provide<Shell::Runner>(nullptr);
  for (const auto& run : running_) run->abandon();
}

FakeShell::Script& FakeShell::on(const String& line) {
  std::erase_if(lines_, [&](const auto& entry) { return entry.first == line; });
  return lines_.emplace_back(line, Script()).second;
}

FakeShell::Script& FakeShell::onPrefix(const String& prefix) {
  std::erase_if(prefixes_, [&](const auto& entry) { return entry.first == prefix; });
  return prefixes_.emplace_back(prefix, Script()).second;
}

std::vector<String> FakeShell::running() const {
  std::vector<String> lines;
  lines.reserve(running_.size());
  for (const auto& run : running_) lines.push_back(run->line());
  return lines;
}

bool FakeShell::print(const String& line, const String& piece) {
  const KXPtr<Run> run = find(line);
  if (run) run->print(piece);
  return static_cast<bool>(run);
}

bool FakeShell::printError(const String& line, const String& piece) {
  const KXPtr<Run> run = find(line);
  if (run) run->printError(piece);
  return static_cast<bool>(run);
}

bool FakeShell::end(const String& line, const XCode& result, const String& rest) {
  const KXPtr<Run> run = find(line);
  if (run) run->end(result, rest);
  return static_cast<bool>(run);
}

XCode FakeShell::invoke(const Shell::Command& command, Shell::Terminated terminated, Shell::Output output,
                        Shell::Output errorOutput, Future<String>& future) {
  invoked_.push_back(command.line());
  Script script;
  XCode result = findScript(command, script);
  if (result.isErr()) return result;
  const KXPtr<Run> run(new Run(*this, command.line(), std::move(script),
                               {std::move(terminated), std::move(output), std::move(errorOutput)}));
  running_.push_back(run);
  future.set(run);
  run->start();
  return result;
}

XCode FakeShell::execute(const Shell::Command& command) {
  executed_.push_back(command.line());
  Script script;
  const XCode result = findScript(command, script);
  return result.isErr() ? result : script.result_;
}

XCode FakeShell::findScript(const Shell::Command& command, Script& script) const {
  XCode result = command.check();
  if (result.isErr()) return result;
  const String& line = command.line();
  const auto exact = std::find_if(lines_.begin(), lines_.end(), [&](const auto& entry) { return entry.first == line; });
  const std::pair<String, Script>* best = exact == lines_.end() ? nullptr : &*exact;
  if (best == nullptr) {
    for (const auto& entry : prefixes_) {
      if (!line.view().starts_with(entry.first.view())) continue;
      if (best == nullptr || entry.first.length() > best->first.length()) best = &entry;
    }
  }
  if (best == nullptr) return XCode::fromErrno(ENOENT);
  script = best->second;
  return script.refusal_;
}

KXPtr<FakeShell::Run> FakeShell::find(const String& line) const {
  for (const auto& run : running_) {
    if (run->line() == line) return run;
  }
  return nullptr;
}

void FakeShell::forget(const Run& run) {
  std::erase_if(running_, [&](const auto& entry) { return entry.get() == &run; });
}

}  // namespace KX::Testing
