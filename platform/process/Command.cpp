// SPDX-License-Identifier: Apache-2.0
#include "platform/process/Command.h"

#include <utility>

namespace KX::Shell {

namespace {

constexpr const char* BLANKS = " \t";
constexpr std::string_view PLACEHOLDER = "%s";

// Gives the values one by one; where they have run out, empty strings.
class Values {
 public:
  explicit Values(const std::initializer_list<String>& values) : values_(values) {}
  String next() { return next_ < values_.size() ? values_.begin()[next_++] : String(); }

 private:
  const std::initializer_list<String>& values_;
  std::size_t next_ = 0;
};

String replacePlaceholders(std::string_view text, Values& values) {
  String result;
  std::size_t end = text.find(PLACEHOLDER);
  while (end != std::string_view::npos) {
    result.append(text.substr(0, end)).append(values.next());
    text.remove_prefix(end + PLACEHOLDER.size());
    end = text.find(PLACEHOLDER);
  }
  return result.append(text);
}

}  // namespace

Command::Command(const String& line) : line_(line), arguments_(line.splitAtChars(BLANKS)) {}

Command Command::format(const char* format, std::initializer_list<String> values) {
  Command command;
  Values ofLine(values);
  command.line_ = replacePlaceholders(format, ofLine);
  Values ofArguments(values);
  for (const String& argument : String(format).splitAtChars(BLANKS)) {
    command.arguments_.add(replacePlaceholders(argument, ofArguments));
  }
  return command;
}

Command Command::withProgram(const String& program) const {
  Command command;
  command.line_ = line_;
  command.arguments_.add(program);
  for (std::size_t i = 1; i < arguments_.size(); ++i) command.arguments_.add(arguments_[i]);
  return command;
}

XCode Command::check() const {
  if (arguments_.isEmpty()) return XCode::error("Empty command"_s);
  for (const String& argument : arguments_) {
    if (argument.view().find('\0') != std::string_view::npos) return XCode::error("Argument contains a NUL byte"_s);
  }
  return XCode();
}

}  // namespace KX::Shell
