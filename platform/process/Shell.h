// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/Export.h"
#include "platform/base/String.h"
#include "platform/base/XCode.h"
#include "platform/loop/Function.h"
#include "platform/process/Command.h"
#include "platform/process/Future.h"

// Runs external programs. No shell is ever involved: a program gets an argument vector and is looked up in PATH, so no
// character of an argument has a meaning beyond itself.
namespace KX::Shell {

// The end of a command: its result code, and the output not yet handed over.
using Terminated = Function<void(XCode, String)>;
// A piece of output, as it came.
using Output = Function<void(String)>;

// What runs commands for a loop; it hangs on the loop (KXEventLoop::provide<Runner>) and outlives its commands.
class KX_EXPORT Runner {
 public:
  virtual ~Runner() = default;
  [[nodiscard]] virtual XCode invoke(const Command& command, Terminated terminated, Output output, Output errorOutput,
                                     Future<String>& future) = 0;
  [[nodiscard]] virtual XCode execute(const Command& command) = 0;
};

// Starts the command on the calling thread's loop and returns at once. An error means that nothing was started and that
// no callback will come, a program that is not found included. Otherwise output and errorOutput come as the command
// prints, and terminated comes exactly once, never inside this call: success for exit status 0, else an error that
// names the exit status, the signal or the bound that ended the command. future receives the handle of the command.
KX_EXPORT [[nodiscard]] XCode invoke(const Command& command, Terminated terminated, Output output, Output errorOutput,
                                     Future<String>& future);

// Runs the command and waits for its end, holding the calling thread. Its output is thrown away.
KX_EXPORT [[nodiscard]] XCode execute(const Command& command);

}  // namespace KX::Shell
