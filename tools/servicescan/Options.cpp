// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/Options.h"

#include <getopt.h>

#include <cstring>
#include <optional>

#include "platform/text/Decimal.h"

namespace ServiceScan {
namespace {

constexpr std::size_t MAX_COMMUNITY_BYTES = 255;
constexpr std::uint32_t MAX_TIMEOUT_MS = 3'600'000;
constexpr std::uint32_t MAX_TRIES = 100;
constexpr std::uint32_t MAX_PARALLEL = 1'000'000;
constexpr std::uint32_t MAX_RATE = 10'000'000;

enum Option : int { TIMEOUT = 256, TRIES, COMMUNITY, PARALLEL, RATE, PATIENT, VERSION, HELP };

constexpr option OPTIONS[] = {
    {"json", no_argument, nullptr, 'j'},
    {"targets", required_argument, nullptr, 't'},
    {"timeout", required_argument, nullptr, TIMEOUT},
    {"tries", required_argument, nullptr, TRIES},
    {"community", required_argument, nullptr, COMMUNITY},
    {"parallel", required_argument, nullptr, PARALLEL},
    {"rate", required_argument, nullptr, RATE},
    {"patient", no_argument, nullptr, PATIENT},
    {"version", no_argument, nullptr, VERSION},
    {"help", no_argument, nullptr, HELP},
    {nullptr, 0, nullptr, 0},
};

XCode readNumber(const char* name, const char* text, std::uint32_t minimum, std::uint32_t maximum,
                 std::uint32_t& number) {
  const std::optional<std::uint32_t> value = KX::readDecimal<std::uint32_t>(text);
  if (!value || *value < minimum || *value > maximum) {
    return XCode::error(String::format("unusable value for --%s: %s", name, text));
  }
  number = *value;
  return XCode();
}

XCode readCommunity(const char* text, String& community) {
  if (*text == '\0' || std::strlen(text) > MAX_COMMUNITY_BYTES) return XCode::error("unusable value for --community"_s);
  community = text;
  return XCode();
}

XCode apply(int name, const char* value, Options& options) {
  switch (name) {
    case 'j':
      options.json = true;
      break;
    case 't':
      options.targetFile = value;
      break;
    case TIMEOUT:
      return readNumber("timeout", value, 1, MAX_TIMEOUT_MS, options.sweep.timeoutMs);
    case TRIES:
      return readNumber("tries", value, 1, MAX_TRIES, options.sweep.tries);
    case COMMUNITY:
      return readCommunity(value, options.community);
    case PARALLEL:
      return readNumber("parallel", value, 1, MAX_PARALLEL, options.sweep.parallel);
    case RATE:
      return readNumber("rate", value, 0, MAX_RATE, options.sweep.packetsPerSecond);
    case PATIENT:
      options.sweep.isPatient = true;
      break;
    case VERSION:
      options.command = Options::Command::VERSION;
      break;
    default:
      options.command = Options::Command::HELP;
      break;
  }
  return XCode();
}

// A letter may stand among others in one word, which is then not yet the last one.
String describeUnknown(const char* lastWord) {
  const bool isLetter = optopt > 0 && optopt < TIMEOUT && optopt != 'j';  // j: --json with a value
  return isLetter ? String::format("-%c", optopt) : String(lastWord);
}

}  // namespace

XCode parseOptions(int argc, char* const argv[], Options& options) {
  opterr = 0;
  optind = 0;  // begins anew, also where an error has ended the last reading inside a word
  while (options.command == Options::Command::SCAN) {
    const int name = getopt_long(argc, argv, ":jt:", OPTIONS, nullptr);
    if (name == -1) break;
    const char* const word = argv[optind - 1];
    if (name == ':') return XCode::error(String::format("%s needs a value", word));
    if (name == '?') return XCode::error(String::format("unknown option: %s", describeUnknown(word).c_str()));
    XCode result = apply(name, optarg, options);
    if (result.isErr()) return result;
  }
  if (options.command != Options::Command::SCAN) return XCode();
  if (optind < argc) return XCode::error(String::format("unexpected argument: %s", argv[optind]));
  if (options.targetFile.isEmpty()) return XCode::error("expecting -t FILE"_s);
  return XCode();
}

const char* usage() {
  return "Usage: servicescan [OPTION]... -t FILE\n"
         "Asks hosts for services and prints which of them answer.\n"
         "\n"
         "FILE has one host a line: its IPv4 address, then services with their ports:\n"
         "  192.0.2.20 http:80 http:8080 https:443 snmp:161 sip:5060 ping:0\n"
         "\n"
         "  -t, --targets FILE       what to ask (required)\n"
         "  -j, --json               print a JSON document instead of a table\n"
         "  --timeout MILLISECONDS   wait so long for an answer to each try (default 1000)\n"
         "  --tries N                ask so often over UDP and ICMP; a connection has the time of all tries (default "
         "2)\n"
         "  --community TEXT         the SNMP community (default public)\n"
         "  --parallel N             at most so many probes in flight (default 4096)\n"
         "  --rate N                 at most so many packets or connections a second (default 0: as answers come)\n"
         "  --patient                wait all the time at hosts that show no sign of life, too\n"
         "  --version, --help\n";
}

}  // namespace ServiceScan
