// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/Options.h"

#include <getopt.h>

#include <optional>

#include "platform/text/Decimal.h"
#include "platform/text/OneLine.h"
#include "platform/text/Printable.h"
#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery::Responder {
namespace {

constexpr std::uint32_t MAX_SECONDS = 3600;

enum Option : int {
  INTERFACE = 256,
  MODEL,
  BUILD,
  SUPPORTS_ONBOARDING,
  USER,
  STATE_DIRECTORY,
  PSK_FILE,
  BLINK_PROGRAM,
  BLINK_LED,
  BLINK_DURATION,
  ONBOARD_PROGRAM,
  HOOK_TIMEOUT,
  LED_DIRECTORY,
  VERSION,
  HELP
};

constexpr option OPTIONS[] = {
    {"interface", required_argument, nullptr, INTERFACE},
    {"model", required_argument, nullptr, MODEL},
    {"build", required_argument, nullptr, BUILD},
    {"supports-onboarding", no_argument, nullptr, SUPPORTS_ONBOARDING},
    {"user", required_argument, nullptr, USER},
    {"state-directory", required_argument, nullptr, STATE_DIRECTORY},
    {"psk-file", required_argument, nullptr, PSK_FILE},
    {"blink-program", required_argument, nullptr, BLINK_PROGRAM},
    {"blink-led", required_argument, nullptr, BLINK_LED},
    {"blink-duration", required_argument, nullptr, BLINK_DURATION},
    {"onboard-program", required_argument, nullptr, ONBOARD_PROGRAM},
    {"hook-timeout", required_argument, nullptr, HOOK_TIMEOUT},
    {"led-directory", required_argument, nullptr, LED_DIRECTORY},
    {"version", no_argument, nullptr, VERSION},
    {"help", no_argument, nullptr, HELP},
    {nullptr, 0, nullptr, 0},
};

XCode readSeconds(const char* name, const char* text, std::uint32_t& seconds) {
  const std::optional<std::uint32_t> value = KX::readDecimal<std::uint32_t>(text);
  if (!value || *value == 0 || *value > MAX_SECONDS) {
    return XCode::error(String::format("expecting a --%s of 1 to %u", name, MAX_SECONDS));
  }
  seconds = *value;
  return XCode();
}

// Null for an option that is no plain text.
String* textOf(int name, Options& options) {
  switch (name) {
    case INTERFACE:
      return &options.interface;
    case USER:
      return &options.user;
    case STATE_DIRECTORY:
      return &options.stateDirectory;
    case PSK_FILE:
      return &options.pskFile;
    case BLINK_PROGRAM:
      return &options.blinkProgram;
    case BLINK_LED:
      return &options.blinkLed;
    case ONBOARD_PROGRAM:
      return &options.onboardProgram;
    case LED_DIRECTORY:
      return &options.ledDirectory;
    default:
      return nullptr;
  }
}

XCode apply(int name, const char* value, Options& options) {
  if (String* const text = textOf(name, options)) {
    *text = value;
    return text->isEmpty() ? XCode::error("an option has an empty value"_s) : XCode();
  }
  switch (name) {
    case MODEL:
      options.description.model = toOneLine(value, MAX_TEXT_BYTES);
      break;
    case BUILD:
      options.description.build = toOneLine(value, MAX_TEXT_BYTES);
      break;
    case SUPPORTS_ONBOARDING:
      options.description.supportsOnboarding = true;
      break;
    case BLINK_DURATION:
      return readSeconds("blink-duration", value, options.blinkSeconds);
    case HOOK_TIMEOUT:
      return readSeconds("hook-timeout", value, options.hookSeconds);
    case VERSION:
      options.command = Options::Command::VERSION;
      break;
    default:
      options.command = Options::Command::HELP;
      break;
  }
  return XCode();
}

XCode check(const Options& options) {
  if (options.interface.isEmpty()) return XCode::error("expecting --interface NAME"_s);
  if (options.description.model.isEmpty()) return XCode::error("expecting --model TEXT"_s);
  if (!options.blinkProgram.isEmpty() && !options.blinkLed.isEmpty()) {
    return XCode::error("--blink-program and --blink-led exclude each other"_s);
  }
  if (options.blinkLed.view().find('/') != std::string_view::npos) {
    return XCode::error("--blink-led is a name in /sys/class/leds"_s);
  }
  if (!options.onboardProgram.isEmpty() && !options.description.supportsOnboarding) {
    return XCode::error("--onboard-program needs --supports-onboarding"_s);
  }
  return XCode();
}

}  // namespace

XCode parseOptions(int argc, char* const argv[], Options& options) {
  opterr = 0;
  optind = 1;
  while (options.command == Options::Command::RUN) {
    const int name = getopt_long(argc, argv, ":", OPTIONS, nullptr);
    if (name == -1) break;
    const String word = toPrintable(argv[optind - 1]);
    if (name == ':') return XCode::error(String::format("%s needs a value", word.c_str()));
    if (name == '?') return XCode::error(String::format("unknown option: %s", word.c_str()));
    XCode result = apply(name, optarg, options);
    if (result.isErr()) return result;
  }
  if (options.command != Options::Command::RUN) return XCode();
  if (optind < argc) return XCode::error(String::format("unexpected argument: %s", toPrintable(argv[optind]).c_str()));
  return check(options);
}

const char* usage() {
  return "Usage: discovery-responder --interface NAME --model TEXT [OPTION]...\n"
         "Tells discovery-client on the LAN what this device is, makes it blink, and takes its organisation key.\n"
         "\n"
         "  --interface NAME         answer on this interface (required)\n"
         "  --model TEXT             the device's model (required)\n"
         "  --build TEXT             its software's build\n"
         "  --supports-onboarding    take an organisation key\n"
         "  --user NAME              become this user, when started as root (default discovery-responder)\n"
         "  --state-directory DIR    where the organisation key is stored (default /var/lib/discovery-responder)\n"
         "  --psk-file FILE          act only over DTLS with the pre-shared key of this file, a line identity:key\n"
         "                           (default /etc/discovery/responder.psk, when it is there)\n"
         "  --blink-program FILE     run this program to blink\n"
         "  --blink-led NAME         or let this LED of /sys/class/leds blink\n"
         "  --blink-duration SECONDS for so long (default 10)\n"
         "  --onboard-program FILE   run this program when a key has been stored; it reads two lines, key and server\n"
         "  --hook-timeout SECONDS   kill a program that runs for longer (default 30)\n"
         "  --led-directory DIR      where the LEDs are (default /sys/class/leds)\n"
         "  --version, --help\n";
}

}  // namespace DeviceDiscovery::Responder
