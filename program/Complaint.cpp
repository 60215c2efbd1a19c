// SPDX-License-Identifier: Apache-2.0
#include "program/Complaint.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/base/XCode.h"
#include "platform/text/Printable.h"

namespace {

// In one write, so that lines of several processes on one terminal do not mix.
void say(const char* kind, const String& text) {
  std::fputs(
      String::format("%s: %s%s\n", toPrintable(program_invocation_short_name).c_str(), kind, toPrintable(text).c_str())
          .c_str(),
      stderr);
}

}  // namespace

int complain(const String& reason, int exitStatus) {
  say("", reason);
  return exitStatus;
}

int complainOfUsage(const String& reason) {
  return complain(String::format("%s; try --help", reason.c_str()), EXIT_USAGE);
}

void warn(const String& reason) { say("warning: ", reason); }

int print(const String& text) {
  static_cast<void>(std::fwrite(text.c_str(), 1, text.length(), stdout));
  return finishOutput();
}

int finishOutput() {
  errno = 0;
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return EXIT_DONE;
  // Where it was an earlier write that failed, its reason is gone.
  const String reason = errno == 0 ? String() : String::format(": %s", XCode::fromErrno(errno).toString().c_str());
  return complain(String::format("cannot write the result%s", reason.c_str()));
}
