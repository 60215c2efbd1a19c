// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <vector>

#include "platform/base/String.h"
#include "platform/base/XCode.h"

// The command line of a program as a table: what is read, what is complained about and what --help shows come from the
// same rows. Long options may be cut short as long as they are told apart; -h, --help and --version are known to every
// program. An empty value is refused: it is a mistake of a script, not a wish.

struct CommandOption {
  const char* name;             // as in "--name"
  char letter = '\0';           // as in "-l"; none
  const char* value = nullptr;  // what --help calls the value; null where the option takes none
  // What --help says; every line after the first is indented below it.
  const char* help = "";
  // Takes the value, which is null where there is none. The text of an error says what form is expected, such as
  // "expecting 0 to 3". It may overwrite the value in place.
  std::function<XCode(char* value)> take = {};
  // Neither a complaint about this option nor one about a word nearby repeats what may be its value.
  bool isSecret = false;
};

using CommandOptions = std::vector<CommandOption>;
// One table after the other.
CommandOptions operator+(CommandOptions options, const CommandOptions& more);

enum class CommandRequest { RUN, HELP, VERSION };

// Reads argv from its second word on. Words that are no options, before or behind which options may stand, go to
// "arguments" in their order; where that is null they are refused. Reading ends at --help, -h and --version, which
// become the request. An error's text is a whole complaint; what options took until then has been taken.
[[nodiscard]] XCode readCommandLine(int argc, char* const argv[], const CommandOptions& options,
                                    CommandRequest& request, std::vector<String>* arguments = nullptr);

// The lines of --help for these options, and those for what every program knows.
String describeOptions(const CommandOptions& options);
String describeStandardOptions();

// The usual takers. They keep a reference to the variable.
std::function<XCode(char*)> setFlag(bool& flag);
std::function<XCode(char*)> setText(String& text);
// A decimal number from minimum to maximum.
[[nodiscard]] XCode readNumber(const char* text, std::uint64_t minimum, std::uint64_t maximum, std::uint64_t& number);
template <std::unsigned_integral T>
std::function<XCode(char*)> setNumber(T& number, std::type_identity_t<T> minimum, std::type_identity_t<T> maximum) {
  return [&number, minimum, maximum](char* value) {
    std::uint64_t read = number;
    XCode result = readNumber(value, minimum, maximum, read);
    number = static_cast<T>(read);
    return result;
  };
}
