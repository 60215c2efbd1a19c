// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <utility>
#include <vector>

#include "platform/loop/KXEventLoop.h"
#include "platform/process/Shell.h"

namespace KX::Testing {

// Runs scripts in place of commands, on the loop that it hangs itself on. Its callbacks come as a real runner's do:
// never inside invoke, and no output after a close. A command line without a script is a program that is not found. A
// killed command ends with the signal in the loop's next turn.
class FakeShell final : public Shell::Runner {
 public:
  // What a command does, step by step; at the end of its steps it succeeds unless it was told otherwise.
  class Script {
   public:
    Script& prints(const String& piece);
    Script& printsError(const String& piece);
    // Lets time pass before the next step.
    Script& after(std::chrono::milliseconds delay);
    // The rest is output that is handed over with the end.
    Script& ends(XCode result, const String& rest = String());
    // "Exit status %d"; 0 is success.
    Script& exits(int status);
    // Stays until it is killed or ended by hand.
    Script& hangs();
    // Is not even started.
    Script& isRefused(XCode error);

   private:
    friend class FakeShell;
    enum class Kind : std::uint8_t { OUTPUT, ERROR_OUTPUT, DELAY };
    struct Step {
      Kind kind;
      String piece;
      std::chrono::milliseconds delay;
    };
    std::vector<Step> steps_;
    XCode result_;
    XCode refusal_;
    String rest_;
    bool hangs_ = false;
  };

  explicit FakeShell(KXEventLoop& loop);
  FakeShell(const FakeShell&) = delete;
  FakeShell& operator=(const FakeShell&) = delete;
  ~FakeShell() override;

  // The script for commands of exactly this line, in place of the one before.
  Script& on(const String& line);
  // The script for commands that begin so and have no script of their own; the longest prefix counts.
  Script& onPrefix(const String& prefix);

  // Command lines, in the order of the calls; those that were refused are among them.
  const std::vector<String>& invoked() const { return invoked_; }
  const std::vector<String>& executed() const { return executed_; }
  // What runs at present, the oldest first.
  std::vector<String> running() const;

  // By hand, for the oldest running command of this line; false when there is none. The callback comes inside.
  bool print(const String& line, const String& piece);
  bool printError(const String& line, const String& piece);
  bool end(const String& line, const XCode& result, const String& rest = String());

  [[nodiscard]] XCode invoke(const Shell::Command& command, Shell::Terminated terminated, Shell::Output output,
                             Shell::Output errorOutput, Future<String>& future) override;
  // Takes no time: gives the end of the script at once.
  [[nodiscard]] XCode execute(const Shell::Command& command) override;

 private:
  class Run;
  XCode findScript(const Shell::Command& command, Script& script) const;
  KXPtr<Run> find(const String& line) const;
  void forget(const Run& run);

  KXEventLoop& loop_;
  // Lists: a script stays where it is while others are added.
  std::list<std::pair<String, Script>> lines_;
  std::list<std::pair<String, Script>> prefixes_;
  std::vector<String> invoked_;
  std::vector<String> executed_;
  std::vector<KXPtr<Run>> running_;
};

}  // namespace KX::Testing
