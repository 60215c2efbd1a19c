// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/String.h"
#include "platform/base/XCode.h"
#include "platform/process/Child.h"
#include "platform/process/Command.h"

namespace KX::Shell {

// Looks a program up in PATH, as the shells do; a name with a slash is a path already. Done before the start, since
// some systems report a missing program only as a child with exit status 127.
[[nodiscard]] XCode findProgram(const String& name, String& path);

// Starts a command in a process group of its own with all signals as a fresh program expects them. It reads from and
// prints to the given descriptors (3 or above; -1 is nothing and nowhere) and inherits no other; of the environment it
// gets PATH, LANG and TZ. Costs the same whatever the size of this process: nothing of it is copied. The command dies
// with the calling thread, also where that is killed (see ChildStart.h), so a thread that starts commands stays until
// they have ended. A SIGCHLD that is ignored gets its default action, or no end could be told from another.
[[nodiscard]] XCode spawn(const Command& command, int output, int errorOutput, Child& child, int input = -1);

}  // namespace KX::Shell
