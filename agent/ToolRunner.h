// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/process/Shell.h"

// Runs the library's commands, with a program of this device's choice in the place of /usr/bin/servicescan, the only
// one that the library names by its path. What is logged and reported names the library's.
class ToolRunner final : public KX::Shell::Runner {
 public:
  // An empty path changes nothing. The other runner outlives this one.
  ToolRunner(KX::Shell::Runner& runner, const String& servicescan) : runner_(runner), servicescan_(servicescan) {}

  [[nodiscard]] XCode invoke(const KX::Shell::Command& command, KX::Shell::Terminated terminated,
                             KX::Shell::Output output, KX::Shell::Output errorOutput,
                             KX::Future<String>& future) override;
  [[nodiscard]] XCode execute(const KX::Shell::Command& command) override;

 private:
  KX::Shell::Command replaced(const KX::Shell::Command& command) const;

  KX::Shell::Runner& runner_;
  const String servicescan_;
};
