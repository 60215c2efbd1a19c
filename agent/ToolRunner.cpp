// SPDX-License-Identifier: Apache-2.0
#include "agent/ToolRunner.h"

#include <utility>

using KX::Shell::Command;

Command ToolRunner::replaced(const Command& command) const {
  const bool isServicescan = !command.arguments().isEmpty() && command.arguments()[0] == "/usr/bin/servicescan";
  return isServicescan && !servicescan_.isEmpty() ? command.withProgram(servicescan_) : command;
}

XCode ToolRunner::invoke(const Command& command, KX::Shell::Terminated terminated, KX::Shell::Output output,
                         KX::Shell::Output errorOutput, KX::Future<String>& future) {
  return runner_.invoke(replaced(command), std::move(terminated), std::move(output), std::move(errorOutput), future);
}

XCode ToolRunner::execute(const Command& command) { return runner_.execute(replaced(command)); }
