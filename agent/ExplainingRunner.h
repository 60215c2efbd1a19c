// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/loop/KXEventLoop.h"
#include "platform/process/Shell.h"

// Runs commands by another runner, in whose place it hangs on the loop, and says why one has failed: the last line that
// it wrote to its error output stands behind its exit status.
class ExplainingRunner final : public KX::Shell::Runner {
 public:
  ExplainingRunner(KXEventLoop& loop, KX::Shell::Runner& runner);
  ExplainingRunner(const ExplainingRunner&) = delete;
  ExplainingRunner& operator=(const ExplainingRunner&) = delete;
  ~ExplainingRunner() override;

  [[nodiscard]] XCode invoke(const KX::Shell::Command& command, KX::Shell::Terminated terminated,
                             KX::Shell::Output output, KX::Shell::Output errorOutput,
                             KX::Future<String>& future) override;
  [[nodiscard]] XCode execute(const KX::Shell::Command& command) override { return runner_.execute(command); }

 private:
  KXEventLoop& loop_;
  KX::Shell::Runner& runner_;
};
