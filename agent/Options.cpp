// SPDX-License-Identifier: Apache-2.0
#include "agent/Options.h"

#include <algorithm>
#include <array>
#include <limits>

#include "platform/text/KXRegEx.h"
#include "program/CommandLine.h"

namespace {

constexpr std::size_t MOST_ADDRESSES = std::size_t{1} << 24U;

XCode readLink(const String& value, Options& options) {
  constexpr std::string_view UNIX_PREFIX = "unix:";
  if (value == "stdio") {
    options.link = Options::LinkKind::STDIO;
  } else if (value.view().starts_with(UNIX_PREFIX) && value.length() > UNIX_PREFIX.size()) {
    options.link = Options::LinkKind::UNIX;
    options.socketPath = value.view().substr(UNIX_PREFIX.size());
  } else {
    return XCode::error("expecting stdio or unix:PATH"_s);
  }
  return XCode();
}

XCode readLog(const String& value, Options& options) {
  if (!(value == "stderr") && !(value == "syslog")) return XCode::error("expecting stderr or syslog"_s);
  options.log = value == "syslog" ? Options::Log::SYSLOG : Options::Log::STDERR;
  return XCode();
}

XCode addInterface(const char* value, Options& options) {
  const auto pattern = KXRegEx::COMPILE_EXPRESSION(value);
  if (pattern != nullptr && pattern->error().isErr()) {
    XCode error = pattern->error();
    error.extendString("expecting a regular expression"_s, ": ");
    return error;
  }
  options.interfaces.add(value);
  return XCode();
}

XCode addService(const char* value, Options& options) {
  if (addServicePort(value, options.services)) return XCode();
  return XCode::error("expecting sip, http, https, snmp or ping, a colon and a port up to 65535"_s);
}

CommandOptions optionsOfRun(Options& options) {
  return {
      {.name = "link",
       .value = "stdio|unix:PATH",
       .help = "where the server speaks to this agent (default stdio)",
       .take = [&options](char* value) { return readLink(value, options); }},
      {.name = "plan",
       .value = "FILE",
       .help = "job descriptions to start with, a JSON array",
       .take = setText(options.plan)},
      {.name = "scan-tool",
       .value = "FILE",
       .help = "the program that asks for services (default /usr/bin/servicescan)",
       .take = setText(options.scanTool)},
      {.name = "clear-before-update",
       .help = "drop everything of the old plan when a new one comes",
       .take = setFlag(options.clearBeforeUpdate)},
      {.name = "message-limit",
       .value = "BYTES",
       .help = "longest message taken (default 16777216, 0: any)",
       .take = setNumber(options.messageLimit, 0, std::numeric_limits<std::size_t>::max() / 2)},
  };
}

CommandOptions optionsOfScan(Options& options) {
  return {
      {.name = "json", .help = "print a JSON array instead of a table", .take = setFlag(options.json)},
      {.name = "thorough",
       .help = "find nodes as a plan does, with arp-scan, which is patient:\n24 seconds an interface",
       .take = setFlag(options.thorough)},
      {.name = "max-addresses",
       .value = "N",
       .help = "sweep so many addresses of a network at most, those around\nthis device (default 4096)",
       .take = setNumber(options.maxAddresses, 1, MOST_ADDRESSES)},
      {.name = "service",
       .value = "NAME:PORT",
       .help = "look for this service only: sip, http, https, snmp or ping\n"
               "(any port); may be repeated (default sip:5060, http:80,\n"
               "https:443, snmp:161, ping:0)",
       .take = [&options](char* value) { return addService(value, options); }},
  };
}

CommandOptions optionsOfSelection(Options& options) {
  return {
      {.name = "interface",
       .value = "REGEX",
       .help = "those whose names match, private or not; may be repeated",
       .take = [&options](char* value) { return addInterface(value, options); }},
  };
}

CommandOptions optionsOfCommands(Options& options) {
  return {
      {.name = "command-limit",
       .value = "SECONDS",
       .help = "longest run of one command (default 21600, 0: any)",
       .take = setNumber(options.processLimits.runSeconds, 0, std::numeric_limits<std::uint32_t>::max())},
      {.name = "output-limit",
       .value = "BYTES",
       .help = "longest output of one command (default 16777216, 0: any)",
       .take = setNumber(options.processLimits.outputBytes, 0, std::numeric_limits<std::uint64_t>::max())},
      {.name = "node-limit",
       .value = "N",
       .help = "most nodes kept (default 100000, 0: any number)",
       .take = setNumber(options.nodeLimit, 0, std::numeric_limits<unsigned>::max())},
  };
}

CommandOptions optionsOfAll(Options& options) {
  return {
      {.name = "database",
       .value = "FILE",
       .help = "device configuration database (default: the kernel's interfaces)",
       .take = setText(options.database)},
      {.name = "log",
       .value = "stderr|syslog",
       .help = "where log lines go (default stderr)",
       .take = [&options](char* value) { return readLog(value, options); }},
      {.name = "verbosity",
       .value = "0..3",
       .help = "how much is logged (default 0)",
       .take = setNumber(options.verbosity, 0, 3)},
  };
}

struct CommandName {
  std::string_view name;
  Options::Command command;
};
constexpr std::array<CommandName, 3> COMMANDS = {
    {{"run", Options::Command::RUN}, {"scan", Options::Command::SCAN}, {"interfaces", Options::Command::INTERFACES}}};

CommandOptions optionsOf(Options::Command command, Options& options) {
  switch (command) {
    case Options::Command::RUN:
      return optionsOfRun(options) + optionsOfCommands(options) + optionsOfAll(options);
    case Options::Command::SCAN:
      return optionsOfScan(options) + optionsOfSelection(options) + optionsOfCommands(options) + optionsOfAll(options);
    case Options::Command::INTERFACES:
      return optionsOfSelection(options) + optionsOfAll(options);
    default:
      return {};
  }
}

}  // namespace

XCode parseOptions(int argc, char* const argv[], Options& options) {
  const std::string_view command = argc > 1 ? argv[1] : "";
  const auto* const known =
      std::find_if(COMMANDS.begin(), COMMANDS.end(), [command](const CommandName& one) { return one.name == command; });
  const bool isCommand = known != COMMANDS.end();
  if (command.empty()) return XCode::error("expecting a command: run, scan or interfaces"_s);
  if (!isCommand && !command.starts_with('-')) return XCode::error(String::format("unknown command: %s", argv[1]));
  const int skipped = isCommand ? 1 : 0;
  const CommandOptions taken = isCommand ? optionsOf(known->command, options) : CommandOptions();
  CommandRequest request = CommandRequest::RUN;
  XCode result = readCommandLine(argc - skipped, argv + skipped, taken, request);
  if (result.isErr()) return result;
  if (request == CommandRequest::RUN) {
    if (!isCommand) return XCode::error("expecting a command: run, scan or interfaces"_s);
    options.command = known->command;
  } else {
    options.command = request == CommandRequest::HELP ? Options::Command::HELP : Options::Command::VERSION;
  }
  return result;
}

String usage() {
  Options options;
  return String::format(
      "Usage: discovery-agent run [OPTION]...\n"
      "       discovery-agent scan [OPTION]...\n"
      "       discovery-agent interfaces [OPTION]...\n"
      "Finds the nodes on this device's private networks.\n"
      "\n"
      "run: serve the management server until SIGTERM, SIGINT or the end of input\n%s"
      "\n"
      "scan: find the nodes, their services and their status once, and print them\n%s"
      "\n"
      "scan, interfaces: scan them, or show which would be scanned and why, and send nothing\n%s"
      "\n"
      "run, scan:\n%s"
      "\n"
      "all:\n%s%s",
      describeOptions(optionsOfRun(options)).c_str(), describeOptions(optionsOfScan(options)).c_str(),
      describeOptions(optionsOfSelection(options)).c_str(), describeOptions(optionsOfCommands(options)).c_str(),
      describeOptions(optionsOfAll(options)).c_str(), describeStandardOptions().c_str());
}
