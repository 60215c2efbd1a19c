// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/Options.h"

#include <cstring>

#include "program/CommandLine.h"

namespace ServiceScan {
namespace {

constexpr std::size_t MAX_COMMUNITY_BYTES = 255;
constexpr std::uint32_t MAX_TIMEOUT_MS = 3'600'000;
constexpr std::uint32_t MAX_TRIES = 100;
constexpr std::uint32_t MAX_PARALLEL = 1'000'000;
constexpr std::uint32_t MOST_ADDRESSES = 1 << 24U;
constexpr std::uint32_t MAX_RATE = 10'000'000;

XCode readCommunity(const char* text, String& community) {
  if (std::strlen(text) > MAX_COMMUNITY_BYTES) {
    return XCode::error(String::format("expecting at most %zu bytes", MAX_COMMUNITY_BYTES));
  }
  community = text;
  return XCode();
}

XCode readNetwork(const char* text, Options& options) {
  const bool isNetwork = options.sweepNetwork.setSubnetAsString(text).isSuccess() ||
                         options.sweepNetwork.setIpAddrAsString(text).isSuccess();
  if (!isNetwork) return XCode::error("expecting an address, or an address, a slash and 0 to 32"_s);
  options.command = Options::Command::SWEEP;
  return XCode();
}

CommandOptions scanOptionsOf(Options& options) {
  return {
      {.name = "targets",
       .letter = 't',
       .value = "FILE",
       .help = "what to ask, from a file; from stdin where it is \"-\"",
       .take = setText(options.targetFile)},
      {.name = "json",
       .letter = 'j',
       .help = "print a JSON document instead of a table",
       .take = setFlag(options.json)},
      {.name = "timeout",
       .value = "MILLISECONDS",
       .help = "wait so long for an answer to each try (default 1000)",
       .take = setNumber(options.sweep.timeoutMs, 1, MAX_TIMEOUT_MS)},
      {.name = "tries",
       .value = "N",
       .help = "ask so often over UDP and ICMP; a connection has the time of\nall tries (default 2)",
       .take = setNumber(options.sweep.tries, 1, MAX_TRIES)},
      {.name = "community",
       .value = "TEXT",
       .help = "the SNMP community (default public)",
       .take = [&options](char* value) { return readCommunity(value, options.community); },
       .isSecret = true},
      {.name = "parallel",
       .value = "N",
       .help = "at most so many probes in flight (default 4096)",
       .take = setNumber(options.sweep.parallel, 1, MAX_PARALLEL)},
      {.name = "rate",
       .value = "N",
       .help = "at most so many packets or connections a second\n(default 0: as answers come)",
       .take = setNumber(options.sweep.packetsPerSecond, 0, MAX_RATE)},
      {.name = "patient",
       .help = "wait all the time at hosts that show no sign of life, too",
       .take = setFlag(options.sweep.isPatient)},
  };
}

CommandOptions optionsOf(Options& options) {
  return scanOptionsOf(options) + CommandOptions{
                                      {.name = "sweep",
                                       .value = "PREFIX",
                                       .help = "find the hosts of a network that this machine is in, "
                                               "e.g.\n192.0.2.0/24, and print their MAC addresses",
                                       .take = [&options](char* value) { return readNetwork(value, options); }},
                                      {.name = "max-addresses",
                                       .value = "N",
                                       .help = "sweep no network with more addresses (default 4096)",
                                       .take = setNumber(options.maxAddresses, 1, MOST_ADDRESSES)},
                                  };
}

}  // namespace

XCode parseOptions(int argc, char* const argv[], Options& options) {
  CommandRequest request = CommandRequest::RUN;
  XCode result = readCommandLine(argc, argv, optionsOf(options), request, &options.targets);
  if (result.isErr()) return result;
  if (request != CommandRequest::RUN) {
    options.command = request == CommandRequest::HELP ? Options::Command::HELP : Options::Command::VERSION;
  } else if (options.command == Options::Command::SWEEP) {
    if (!options.targetFile.isEmpty() || !options.targets.empty()) return XCode::error("--sweep takes no targets"_s);
  } else if (options.targetFile.isEmpty() == options.targets.empty()) {
    return XCode::error("expecting targets, or -t FILE with targets"_s);
  }
  return result;
}

String usage() {
  Options options;
  return String::format(
      "Usage: servicescan [OPTION]... TARGET... [SERVICE[:PORT]]...\n"
      "       servicescan [OPTION]... -t FILE\n"
      "       servicescan [-j] [--rate N] --sweep PREFIX\n"
      "Asks hosts for services and prints which of them answer.\n"
      "\n"
      "A target is an IPv4 address, or a prefix such as 192.0.2.0/24. The services are ping, http, https, snmp\n"
      "and sip, each at its usual port unless one is given; without any, all are asked for.\n"
      "FILE has one host a line, its address and then services; a line that begins with # does not count:\n"
      "  192.0.2.20 http:80 http:8080 https snmp sip:5060 ping\n"
      "\n%s%s",
      describeOptions(optionsOf(options)).c_str(), describeStandardOptions().c_str());
}

}  // namespace ServiceScan
