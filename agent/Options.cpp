// SPDX-License-Identifier: Apache-2.0
#include "agent/Options.h"

#include <getopt.h>

#include <array>
#include <optional>

#include "platform/text/Decimal.h"
#include "platform/text/KXRegEx.h"

namespace {

enum Option : int {
  LINK = 256,
  DATABASE,
  CLEAR_BEFORE_UPDATE,
  COMMAND_LIMIT,
  OUTPUT_LIMIT,
  MESSAGE_LIMIT,
  LOG,
  PLAN,
  VERBOSITY,
  JSON,
  INTERFACE,
  SERVICE,
  VERSION,
  HELP,
};

struct OptionUse {
  option definition;
  bool ofRun;
  bool ofScan;
};

constexpr std::array<OptionUse, 14> OPTIONS = {{
    {{"link", required_argument, nullptr, LINK}, true, false},
    {{"database", required_argument, nullptr, DATABASE}, true, true},
    {{"clear-before-update", no_argument, nullptr, CLEAR_BEFORE_UPDATE}, true, false},
    {{"command-limit", required_argument, nullptr, COMMAND_LIMIT}, true, true},
    {{"output-limit", required_argument, nullptr, OUTPUT_LIMIT}, true, true},
    {{"message-limit", required_argument, nullptr, MESSAGE_LIMIT}, true, false},
    {{"log", required_argument, nullptr, LOG}, true, true},
    {{"plan", required_argument, nullptr, PLAN}, true, false},
    {{"verbosity", required_argument, nullptr, VERBOSITY}, true, true},
    {{"json", no_argument, nullptr, JSON}, false, true},
    {{"interface", required_argument, nullptr, INTERFACE}, false, true},
    {{"service", required_argument, nullptr, SERVICE}, false, true},
    {{"version", no_argument, nullptr, VERSION}, true, true},
    {{"help", no_argument, nullptr, HELP}, true, true},
}};

XCode unusable(const char* name, const char* value) {
  return XCode::error(String::format("unusable value for --%s: %s", name, value));
}

template <class T>
XCode readNumber(const char* name, const char* text, T maximum, T& number) {
  const std::optional<T> value = KX::readDecimal<T>(text);
  if (!value || *value > maximum) return unusable(name, text);
  number = *value;
  return XCode();
}

XCode readLink(const String& value, Options& options) {
  constexpr std::string_view UNIX_PREFIX = "unix:";
  if (value == "stdio") {
    options.link = Options::LinkKind::STDIO;
  } else if (value.view().starts_with(UNIX_PREFIX) && value.length() > UNIX_PREFIX.size()) {
    options.link = Options::LinkKind::UNIX;
    options.socketPath = value.view().substr(UNIX_PREFIX.size());
  } else {
    return unusable("link", value.c_str());
  }
  return XCode();
}

XCode readLog(const String& value, Options& options) {
  if (!(value == "stderr") && !(value == "syslog")) return unusable("log", value.c_str());
  options.log = value == "syslog" ? Options::Log::SYSLOG : Options::Log::STDERR;
  return XCode();
}

XCode addInterface(const char* value, Options& options) {
  const auto pattern = KXRegEx::COMPILE_EXPRESSION(value);
  if (pattern != nullptr && pattern->error().isErr()) return unusable("interface", value);
  options.interfaces.add(value);
  return XCode();
}

XCode addService(const char* value, Options& options) {
  return addServicePort(value, options.services) ? XCode() : unusable("service", value);
}

XCode apply(int name, const char* value, Options& options) {
  switch (name) {
    case LINK:
      return readLink(value, options);
    case DATABASE:
      options.database = value;
      break;
    case CLEAR_BEFORE_UPDATE:
      options.clearBeforeUpdate = true;
      break;
    case COMMAND_LIMIT:
      return readNumber("command-limit", value, ~std::uint32_t{0}, options.processLimits.runSeconds);
    case OUTPUT_LIMIT:
      return readNumber("output-limit", value, ~std::uint64_t{0}, options.processLimits.outputBytes);
    case MESSAGE_LIMIT:
      return readNumber("message-limit", value, ~std::size_t{0} / 2, options.messageLimit);
    case LOG:
      return readLog(value, options);
    case PLAN:
      options.plan = value;
      break;
    case VERBOSITY:
      return readNumber("verbosity", value, 3U, options.verbosity);
    case JSON:
      options.json = true;
      break;
    case INTERFACE:
      return addInterface(value, options);
    case SERVICE:
      return addService(value, options);
    case VERSION:
      options.command = Options::Command::VERSION;
      break;
    default:
      options.command = Options::Command::HELP;
      break;
  }
  return XCode();
}

XCode parseArguments(int argc, char* const argv[], bool forScan, Options& options) {
  std::array<option, OPTIONS.size() + 1> accepted{};
  std::size_t count = 0;
  for (const OptionUse& use : OPTIONS) {
    if (forScan ? use.ofScan : use.ofRun) accepted[count++] = use.definition;
  }
  opterr = 0;
  optind = 1;
  while (true) {
    const int name = getopt_long(argc, argv, ":", accepted.data(), nullptr);
    if (name == -1) break;
    const char* const word = argv[optind - 1];
    if (name == ':') return XCode::error(String::format("%s needs a value", word));
    if (name == '?') return XCode::error(String::format("unknown option: %s", word));
    XCode result = apply(name, optarg, options);
    if (result.isErr()) return result;
    if (name == HELP || name == VERSION) return XCode();
  }
  if (optind < argc) return XCode::error(String::format("unexpected argument: %s", argv[optind]));
  return XCode();
}

}  // namespace

XCode parseOptions(int argc, char* const argv[], Options& options) {
  const std::string_view command = argc > 1 ? argv[1] : "";
  if (command == "--help" || command == "--version") {
    options.command = command == "--help" ? Options::Command::HELP : Options::Command::VERSION;
    return XCode();
  }
  if (command != "run" && command != "scan") {
    if (command.empty()) return XCode::error("expecting a command: run or scan");
    return XCode::error(String::format("unknown command: %s", argv[1]));
  }
  const bool forScan = command == "scan";
  options.command = forScan ? Options::Command::SCAN : Options::Command::RUN;
  return parseArguments(argc - 1, argv + 1, forScan, options);
}

const char* usage() {
  return "Usage: discovery-agent run [OPTION]...\n"
         "       discovery-agent scan [OPTION]...\n"
         "Finds the nodes on this device's private networks.\n"
         "\n"
         "run: serve the management server until SIGTERM, SIGINT or the end of input\n"
         "  --link stdio|unix:PATH   where the server speaks to this agent (default stdio)\n"
         "  --plan FILE              job descriptions to start with, a JSON array\n"
         "  --clear-before-update    drop everything of the old plan when a new one comes\n"
         "  --message-limit BYTES    longest message taken (default 16777216, 0: any)\n"
         "\n"
         "scan: find the nodes, their services and their status once, and print them\n"
         "  --json                   print a JSON array instead of a table\n"
         "  --interface REGEX        scan the interfaces whose names match, private or not; may be repeated\n"
         "  --service NAME:PORT      look for this service only: sip, http, https, snmp or ping (any port); may be\n"
         "                           repeated (default sip:5060, http:80, https:443, snmp:161, ping:0)\n"
         "\n"
         "both:\n"
         "  --database FILE          device configuration database (default: the kernel's interfaces)\n"
         "  --command-limit SECONDS  longest run of one command (default 21600, 0: any)\n"
         "  --output-limit BYTES     longest output of one command (default 16777216, 0: any)\n"
         "  --log stderr|syslog      where log lines go (default stderr)\n"
         "  --verbosity 0..3         how much is logged (default 0)\n"
         "  --version, --help\n";
}
