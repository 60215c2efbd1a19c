// SPDX-License-Identifier: Apache-2.0
#include "agent/Options.h"

#include <limits>

#include "platform/text/KXRegEx.h"
#include "program/CommandLine.h"

namespace {

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
      {.name = "interface",
       .value = "REGEX",
       .help = "scan the interfaces whose names match, private or not;\nmay be repeated",
       .take = [&options](char* value) { return addInterface(value, options); }},
      {.name = "service",
       .value = "NAME:PORT",
       .help = "look for this service only: sip, http, https, snmp or ping\n"
               "(any port); may be repeated (default sip:5060, http:80,\n"
               "https:443, snmp:161, ping:0)",
       .take = [&options](char* value) { return addService(value, options); }},
  };
}

CommandOptions optionsOfBoth(Options& options) {
  return {
      {.name = "database",
       .value = "FILE",
       .help = "device configuration database (default: the kernel's interfaces)",
       .take = setText(options.database)},
      {.name = "command-limit",
       .value = "SECONDS",
       .help = "longest run of one command (default 21600, 0: any)",
       .take = setNumber(options.processLimits.runSeconds, 0, std::numeric_limits<std::uint32_t>::max())},
      {.name = "output-limit",
       .value = "BYTES",
       .help = "longest output of one command (default 16777216, 0: any)",
       .take = setNumber(options.processLimits.outputBytes, 0, std::numeric_limits<std::uint64_t>::max())},
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

}  // namespace

XCode parseOptions(int argc, char* const argv[], Options& options) {
  const std::string_view command = argc > 1 ? argv[1] : "";
  const bool isCommand = command == "run" || command == "scan";
  if (command.empty()) return XCode::error("expecting a command: run or scan"_s);
  if (!isCommand && !command.starts_with('-')) return XCode::error(String::format("unknown command: %s", argv[1]));
  CommandOptions known;
  if (isCommand) known = (command == "scan" ? optionsOfScan(options) : optionsOfRun(options)) + optionsOfBoth(options);
  const int skipped = isCommand ? 1 : 0;
  CommandRequest request = CommandRequest::RUN;
  XCode result = readCommandLine(argc - skipped, argv + skipped, known, request);
  if (result.isErr()) return result;
  if (request == CommandRequest::RUN) {
    if (!isCommand) return XCode::error("expecting a command: run or scan"_s);
    options.command = command == "scan" ? Options::Command::SCAN : Options::Command::RUN;
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
      "Finds the nodes on this device's private networks.\n"
      "\n"
      "run: serve the management server until SIGTERM, SIGINT or the end of input\n%s"
      "\n"
      "scan: find the nodes, their services and their status once, and print them\n%s"
      "\n"
      "both:\n%s%s",
      describeOptions(optionsOfRun(options)).c_str(), describeOptions(optionsOfScan(options)).c_str(),
      describeOptions(optionsOfBoth(options)).c_str(), describeStandardOptions().c_str());
}
