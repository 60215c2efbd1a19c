// SPDX-License-Identifier: Apache-2.0
#include "tools/client/Options.h"

#include <algorithm>
#include <cstring>

#include "platform/net/IpAddress.h"
#include "program/CommandLine.h"
#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery::Client {
namespace {

constexpr std::uint32_t LEAST_TIMEOUT_MS = 100;
// Less would leave out devices that are there: answers are spread over LEISURE_MS, and their MAC addresses take time.
constexpr std::uint32_t LEAST_SCAN_TIMEOUT_MS = LEISURE_MS + 600;
constexpr std::uint32_t MAX_TIMEOUT_MS = 60'000;

// What was given, and what of it chooses the command.
struct Given {
  Options& options;
  bool device = false;
  bool blink = false;
  bool onboard = false;
};

// An address of one host: a key that went to a group would be everybody's.
XCode readDevice(const char* text, Given& given) {
  IpAddress address;
  const XCode result = address.setIpAddrAsString(text);
  const std::uint32_t value = address.getV4AddrAsBinaryUInt32();
  const std::uint32_t network = value >> 24U;
  if (result.isErr() || network == 0 || network >= 224) {
    return XCode::error("expecting the IPv4 address of one device"_s);
  }
  given.device = true;
  given.options.device = value;
  return XCode();
}

XCode readOrganisation(char* text, Given& given) {
  given.onboard = true;
  XCode result = given.options.organisation.fromArgument(text);
  std::fill_n(text, std::strlen(text), '*');
  return result;
}

CommandOptions optionsOf(Given& given) {
  Options& options = given.options;
  return {
      {.name = "interface",
       .letter = 'i',
       .value = "INTERFACE",
       .help = "print the devices that answer on this interface",
       .take = setText(options.interface)},
      {.name = "json",
       .letter = 'j',
       .help = "print them as a JSON document instead of a table",
       .take = setFlag(options.json)},
      {.name = "device",
       .letter = 'd',
       .value = "ADDRESS",
       .help = "the device to act on",
       .take = [&given](char* value) { return readDevice(value, given); }},
      {.name = "blink", .letter = 'b', .help = "make it blink", .take = setFlag(given.blink)},
      {.name = "onboard",
       .letter = 'o',
       .value = "KEY[:SERVER]",
       .help = "hand it its organisation key, which ends at the first colon",
       .take = [&given](char* value) { return readOrganisation(value, given); },
       .isSecret = true},
      {.name = "timeout",
       .value = "MILLISECONDS",
       .help = "end after so long at the latest (default 3000, for actions\n5000)",
       .take = setNumber(options.timeoutMs, LEAST_TIMEOUT_MS, MAX_TIMEOUT_MS)},
      {.name = "psk-file",
       .value = "FILE",
       .help = "act over DTLS with the pre-shared key of this file, a line\n"
               "identity:key (default /etc/discovery/client.psk, when it is\nthere)",
       .take = setText(options.pskFile)},
  };
}

XCode chooseCommand(const Given& given) {
  Options& options = given.options;
  if (!given.device) {
    if (given.blink || given.onboard) return XCode::error("expecting -d ADDRESS"_s);
    if (options.interface.isEmpty()) return XCode::error("expecting -i INTERFACE or -d ADDRESS"_s);
    if (options.timeoutMs == 0 || options.timeoutMs >= LEAST_SCAN_TIMEOUT_MS) return XCode();
    return XCode::error(String::format(
        "expecting a --timeout of at least %u for a scan: devices take a second to answer", LEAST_SCAN_TIMEOUT_MS));
  }
  if (!options.interface.isEmpty() || options.json) return XCode::error("-d goes with neither -i nor -j"_s);
  if (given.blink == given.onboard) return XCode::error("expecting one of -b and -o KEY[:SERVER]"_s);
  options.command = given.blink ? Options::Command::BLINK : Options::Command::ONBOARD;
  return XCode();
}

}  // namespace

XCode parseOptions(int argc, char* const argv[], Options& options) {
  Given given{.options = options};
  CommandRequest request = CommandRequest::RUN;
  XCode result = readCommandLine(argc, argv, optionsOf(given), request);
  if (result.isErr()) return result;
  if (request == CommandRequest::RUN) return chooseCommand(given);
  options.command = request == CommandRequest::HELP ? Options::Command::HELP : Options::Command::VERSION;
  return result;
}

String usage() {
  Options options;
  Given given{.options = options};
  return String::format(
      "Usage: discovery-client [-j] -i INTERFACE [OPTION]...\n"
      "       discovery-client -d ADDRESS -b [OPTION]...\n"
      "       discovery-client -d ADDRESS -o KEY[:SERVER] [OPTION]...\n"
      "Finds devices that speak for themselves, makes one blink, or hands one its organisation key.\n"
      "\n%s%s",
      describeOptions(optionsOf(given)).c_str(), describeStandardOptions().c_str());
}

}  // namespace DeviceDiscovery::Client
