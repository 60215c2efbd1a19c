// SPDX-License-Identifier: Apache-2.0
#include "program/CommandLine.h"

#include <getopt.h>

#include <cinttypes>
#include <optional>
#include <string>
#include <string_view>

#include "platform/text/Decimal.h"

namespace {

// What getopt_long calls a row of the table: its index beyond all letters.
constexpr int FIRST_ROW = 256;
constexpr int HELP = FIRST_ROW - 1;
constexpr int VERSION = FIRST_ROW - 2;
constexpr std::size_t HELP_COLUMN = 28;

struct GetoptTables {
  std::string letters = ":h";
  std::vector<option> names;

  explicit GetoptTables(const CommandOptions& options) {
    for (std::size_t row = 0; row < options.size(); ++row) {
      const bool takesValue = options[row].value != nullptr;
      names.push_back({options[row].name, takesValue ? required_argument : no_argument, nullptr,
                       FIRST_ROW + static_cast<int>(row)});
      if (options[row].letter == '\0') continue;
      letters += options[row].letter;
      if (takesValue) letters += ':';
    }
    names.push_back({"help", no_argument, nullptr, HELP});
    names.push_back({"version", no_argument, nullptr, VERSION});
    names.push_back({nullptr, 0, nullptr, 0});
  }
};

bool holdsSecret(const CommandOptions& options) {
  for (const CommandOption& option : options) {
    if (option.isSecret) return true;
  }
  return false;
}

// Null for a code that is no option's.
const CommandOption* find(const CommandOptions& options, int code) {
  for (std::size_t row = 0; row < options.size(); ++row) {
    if (code == FIRST_ROW + static_cast<int>(row) || (code != 0 && code == options[row].letter)) return &options[row];
  }
  return nullptr;
}

// A letter may stand among others in one word, which is then not yet the last one. A word's value is left out.
String describeUnknown(const char* lastWord, int code) {
  if (code >= 0x21 && code < 0x7f) return String::format("-%c", code);
  const std::string_view word = lastWord;
  return word.starts_with("--") ? String(word.substr(0, word.find('='))) : String("of a strange letter");
}

XCode complainAbout(const CommandOptions& options, int problem, const char* lastWord, int code) {
  const CommandOption* const option = find(options, code);
  if (problem == ':') {
    if (option == nullptr) return XCode::error("an option needs a value"_s);
    const String name = code < FIRST_ROW ? String::format("-%c", code) : String::format("--%s", option->name);
    return XCode::error(String::format("%s needs a value: %s", name.c_str(), option->value));
  }
  if (code == HELP || code == VERSION || (option != nullptr && code >= FIRST_ROW)) {
    const char* const name = code == HELP ? "help" : code == VERSION ? "version" : option->name;
    return XCode::error(String::format("--%s takes no value", name));
  }
  return XCode::error(String::format("unknown option: %s", describeUnknown(lastWord, code).c_str()));
}

// The error of a value says which option it was for, unless it is nobody's to know what it was.
XCode take(const CommandOption& option, char* value) {
  const String given = value == nullptr || option.isSecret ? String() : String(value);
  XCode result;
  if (value != nullptr && *value == '\0') {
    result = XCode::error(String::format("expecting %s", option.value));
  } else {
    result = option.take(value);
  }
  if (result.isSuccess()) return result;
  const String reason = result.toString();
  if (option.isSecret) {
    return XCode::error(String::format("unusable value for --%s: %s", option.name, reason.c_str()));
  }
  return XCode::error(
      String::format("unusable value for --%s: \"%s\", %s", option.name, given.c_str(), reason.c_str()));
}

XCode takeArguments(int argc, char* const argv[], bool isSecret, std::vector<String>* arguments) {
  for (int word = optind; word < argc; ++word) {
    if (arguments != nullptr) {
      arguments->push_back(argv[word]);
    } else if (isSecret) {
      return XCode::error("unexpected argument after the options"_s);
    } else {
      return XCode::error(String::format("unexpected argument: %s", argv[word]));
    }
  }
  return XCode();
}

}  // namespace

CommandOptions operator+(CommandOptions options, const CommandOptions& more) {
  options.insert(options.end(), more.begin(), more.end());
  return options;
}

XCode readCommandLine(int argc, char* const argv[], const CommandOptions& options, CommandRequest& request,
                      std::vector<String>* arguments) {
  const GetoptTables tables(options);
  opterr = 0;
  optind = 0;  // begins anew, also where an error has ended the last reading inside a word
  while (true) {
    const int code = getopt_long(argc, argv, tables.letters.c_str(), tables.names.data(), nullptr);
    if (code == -1) return takeArguments(argc, argv, holdsSecret(options), arguments);
    if (code == ':' || code == '?') return complainAbout(options, code, argv[optind - 1], optopt);
    if (code == HELP || code == 'h' || code == VERSION) {
      request = code == VERSION ? CommandRequest::VERSION : CommandRequest::HELP;
      return XCode();
    }
    XCode result = take(*find(options, code), optarg);
    if (result.isErr()) return result;
  }
}

String describeOptions(const CommandOptions& options) {
  String text;
  for (const CommandOption& option : options) {
    String row = option.letter == '\0' ? "  "_s : String::format("  -%c, ", option.letter);
    row.concatf("--%s", option.name);
    if (option.value != nullptr) row.concatf(" %s", option.value);
    std::string_view help = option.help;
    if (row.length() + 2 > HELP_COLUMN) {
      text.concatf("%s\n", row.c_str());
      row = String();
    }
    while (!help.empty()) {
      const std::size_t end = help.find('\n');
      text.concatf("%-*s%s\n", static_cast<int>(HELP_COLUMN), row.c_str(), String(help.substr(0, end)).c_str());
      row = String();
      help = end == std::string_view::npos ? std::string_view() : help.substr(end + 1);
    }
  }
  return text;
}

String describeStandardOptions() {
  return "  -h, --help                print this and end\n"
         "  --version                 print the version and end\n"_s;
}

std::function<XCode(char*)> setFlag(bool& flag) {
  return [&flag](char*) {
    flag = true;
    return XCode();
  };
}

std::function<XCode(char*)> setText(String& text) {
  return [&text](char* value) {
    text = value;
    return XCode();
  };
}

XCode readNumber(const char* text, std::uint64_t minimum, std::uint64_t maximum, std::uint64_t& number) {
  const std::optional<std::uint64_t> read = KX::readDecimal<std::uint64_t>(text);
  if (!read || *read < minimum || *read > maximum) {
    return XCode::error(String::format("expecting a number from %" PRIu64 " to %" PRIu64, minimum, maximum));
  }
  number = *read;
  return XCode();
}
