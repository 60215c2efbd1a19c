// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/String.h"

// What a program says on stderr about itself: always one line, with the program's name in front, and whatever a
// stranger's text holds escaped. The name is the one that the program was called by, as with error(3).

// How a program ends.
enum ExitStatus : int {
  EXIT_DONE = 0,
  EXIT_FAILED = 1,        // something could not be opened, started, carried out or written
  EXIT_USAGE = 2,         // the command line cannot be used
  EXIT_INTERRUPTED = 130  // as a shell reports SIGINT
};

// Says why the program ends, and returns the status to end with.
int complain(const String& reason, int exitStatus = EXIT_FAILED);
// The same for a command line that cannot be used, with where to read how it can.
int complainOfUsage(const String& reason);

// Says what went wrong without keeping the program from its result.
void warn(const String& reason);

// Writes a text to stdout to its end. Returns EXIT_DONE, or complains where stdout takes no more.
int print(const String& text);
// The same for what has been written with stdio before: nothing may have been lost on the way.
int finishOutput();
