// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>

#include "platform/base/Export.h"
#include "platform/base/KXVector.h"
#include "platform/base/String.h"
#include "platform/base/XCode.h"

namespace KX::Shell {

// A command line together with its argument vector.
class KX_EXPORT Command {
 public:
  // Split at blanks and tabs.
  Command(const String& line);
  Command(const char* line) : Command(String(line)) {}
  // The format is split at blanks and tabs, then each "%s" takes the next value, whatever that holds: it stays within
  // its argument.
  static Command format(const char* format, std::initializer_list<String> values);

  // The same with another program in its first argument; the line stays.
  Command withProgram(const String& program) const;

  // As it is logged; a value with blanks is not quoted there.
  const String& line() const { return line_; }
  const KXVector<String>& arguments() const { return arguments_; }
  // An error for what no program could be given: no argument at all, or one that contains a NUL.
  [[nodiscard]] XCode check() const;

 private:
  Command() = default;
  String line_;
  KXVector<String> arguments_;
};

}  // namespace KX::Shell
