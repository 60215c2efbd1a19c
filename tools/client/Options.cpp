// SPDX-License-Identifier: Apache-2.0
#include "tools/client/Options.h"

#include <getopt.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "platform/net/IpAddress.h"
#include "platform/text/Decimal.h"
#include "platform/text/Printable.h"

namespace DeviceDiscovery::Client {
namespace {

constexpr std::uint32_t LEAST_TIMEOUT_MS = 100;
constexpr std::uint32_t MAX_TIMEOUT_MS = 60'000;

enum Option : int { TIMEOUT = 256, PSK_FILE, VERSION, HELP };

constexpr option OPTIONS[] = {
    {"json", no_argument, nullptr, 'j'},
    {"interface", required_argument, nullptr, 'i'},
    {"device", required_argument, nullptr, 'd'},
    {"blink", no_argument, nullptr, 'b'},
    {"onboard", required_argument, nullptr, 'o'},
    {"timeout", required_argument, nullptr, TIMEOUT},
    {"psk-file", required_argument, nullptr, PSK_FILE},
    {"version", no_argument, nullptr, VERSION},
    {"help", no_argument, nullptr, HELP},
    {nullptr, 0, nullptr, 0},
};

// Which of the options of one command each were given.
struct Given {
  bool interface = false;
  bool device = false;
  bool blink = false;
  bool onboard = false;
};

XCode readTimeout(const char* text, std::uint32_t& timeoutMs) {
  const std::optional<std::uint32_t> value = KX::readDecimal<std::uint32_t>(text);
  if (!value || *value < LEAST_TIMEOUT_MS || *value > MAX_TIMEOUT_MS) {
    return XCode::error(String::format("expecting a --timeout of %u to %u", LEAST_TIMEOUT_MS, MAX_TIMEOUT_MS));
  }
  timeoutMs = *value;
  return XCode();
}

// An address of one host: a key that went to a group would be everybody's.
XCode readDevice(const char* text, std::uint32_t& device) {
  IpAddress address;
  XCode result = address.setIpAddrAsString(text);
  const std::uint32_t value = address.getV4AddrAsBinaryUInt32();
  const std::uint32_t network = value >> 24U;
  if (result.isErr() || network == 0 || network >= 224) {
    return XCode::error(String::format("not an IPv4 address of one device: %s", toPrintable(text).c_str()));
  }
  device = value;
  return XCode();
}

XCode apply(int name, char* value, Options& options, Given& given) {
  switch (name) {
    case 'j':
      options.json = true;
      break;
    case 'i':
      given.interface = true;
      options.interface = value;
      break;
    case 'd':
      given.device = true;
      return readDevice(value, options.device);
    case 'b':
      given.blink = true;
      break;
    case 'o': {
      given.onboard = true;
      XCode result = options.organisation.fromArgument(value);
      std::fill_n(value, std::strlen(value), '*');
      return result;
    }
    case TIMEOUT:
      return readTimeout(value, options.timeoutMs);
    case PSK_FILE:
      options.pskFile = value;
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

XCode chooseCommand(const Given& given, Options& options) {
  if (!given.device) {
    if (given.blink || given.onboard) return XCode::error("expecting -d ADDRESS"_s);
    if (!given.interface) return XCode::error("expecting -i INTERFACE or -d ADDRESS"_s);
    return XCode();
  }
  if (given.interface || options.json) return XCode::error("-d goes with neither -i nor -j"_s);
  if (given.blink == given.onboard) return XCode::error("expecting one of -b and -o KEY[:SERVER]"_s);
  options.command = given.blink ? Options::Command::BLINK : Options::Command::ONBOARD;
  return XCode();
}

// Names the option and nothing that may have been written behind it.
XCode complainAbout(const char* word, int letter) {
  const std::string_view text = word;
  const String name = text.starts_with("--") ? String(text.substr(0, text.find('=')))
                                             : String::format("-%c", letter >= 0x21 && letter < 0x7f ? letter : '?');
  return XCode::error(String::format("unknown option or unusable value: %s", toPrintable(name).c_str()));
}

}  // namespace

XCode parseOptions(int argc, char* const argv[], Options& options) {
  Given given;
  opterr = 0;
  optind = 0;
  while (options.command == Options::Command::DISCOVER) {
    const int name = getopt_long(argc, argv, ":ji:d:bo:", OPTIONS, nullptr);
    if (name == -1) break;
    if (name == ':') return XCode::error("an option needs a value"_s);
    if (name == '?') return complainAbout(argv[optind - 1], optopt);
    XCode result = apply(name, optarg, options, given);
    if (result.isErr()) return result;
  }
  if (options.command != Options::Command::DISCOVER) return XCode();
  if (optind < argc) return XCode::error("unexpected argument after the options"_s);
  return chooseCommand(given, options);
}

const char* usage() {
  return "Usage: discovery-client [-j] -i INTERFACE [OPTION]...\n"
         "       discovery-client -d ADDRESS -b [OPTION]...\n"
         "       discovery-client -d ADDRESS -o KEY[:SERVER] [OPTION]...\n"
         "Finds devices that speak for themselves, makes one blink, or hands one its organisation key.\n"
         "\n"
         "  -i, --interface INTERFACE   print the devices that answer on this interface\n"
         "  -j, --json                  print them as a JSON document instead of a table\n"
         "  -d, --device ADDRESS        the device to act on\n"
         "  -b, --blink                 make it blink\n"
         "  -o, --onboard KEY[:SERVER]  hand it its organisation key, which ends at the first colon\n"
         "  --timeout MILLISECONDS      end after so long at the latest (default 3000, for actions 5000)\n"
         "  --psk-file FILE             act over DTLS with the pre-shared key of this file, a line identity:key\n"
         "                              (default /etc/discovery/client.psk, when it is there)\n"
         "  --version, --help\n";
}

}  // namespace DeviceDiscovery::Client
