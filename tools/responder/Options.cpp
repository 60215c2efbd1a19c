// SPDX-License-Identifier: Apache-2.0
#include "tools/responder/Options.h"

#include "platform/text/OneLine.h"
#include "program/CommandLine.h"
#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery::Responder {
namespace {

constexpr std::uint32_t MAX_SECONDS = 3600;

std::function<XCode(char*)> setOneLine(String& text) {
  return [&text](char* value) {
    text = toOneLine(value, MAX_TEXT_BYTES);
    return text.isEmpty() ? XCode::error("expecting a text"_s) : XCode();
  };
}

XCode readLed(const String& name, Options& options) {
  if (name.view().find('/') != std::string_view::npos) return XCode::error("expecting a name in /sys/class/leds"_s);
  options.blinkLed = name;
  return XCode();
}

CommandOptions optionsOfDevice(Options& options) {
  return {
      {.name = "interface",
       .value = "NAME",
       .help = "answer on this interface (required)",
       .take = setText(options.interface)},
      {.name = "model",
       .value = "TEXT",
       .help = "the device's model (required)",
       .take = setOneLine(options.description.model)},
      {.name = "build", .value = "TEXT", .help = "its software's build", .take = setOneLine(options.description.build)},
      {.name = "supports-onboarding",
       .help = "take an organisation key",
       .take = setFlag(options.description.supportsOnboarding)},
      {.name = "user",
       .value = "NAME",
       .help = "become this user, when started as root\n(default discovery-responder)",
       .take = setText(options.user)},
      {.name = "state-directory",
       .value = "DIR",
       .help = "where the organisation key is stored\n(default /var/lib/discovery-responder)",
       .take = setText(options.stateDirectory)},
      {.name = "psk-file",
       .value = "FILE",
       .help = "act only over DTLS with the pre-shared key of this file, a\n"
               "line identity:key (default /etc/discovery/responder.psk,\nwhen it is there)",
       .take = setText(options.pskFile)},
  };
}

CommandOptions optionsOfActions(Options& options) {
  return {
      {.name = "blink-program",
       .value = "FILE",
       .help = "run this program to blink",
       .take = setText(options.blinkProgram)},
      {.name = "blink-led",
       .value = "NAME",
       .help = "or let this LED of /sys/class/leds blink",
       .take = [&options](char* value) { return readLed(value, options); }},
      {.name = "blink-duration",
       .value = "SECONDS",
       .help = "for so long (default 10)",
       .take = setNumber(options.blinkSeconds, 1, MAX_SECONDS)},
      {.name = "onboard-program",
       .value = "FILE",
       .help = "run this program when a key has been stored; it reads two\nlines, key and server",
       .take = setText(options.onboardProgram)},
      {.name = "hook-timeout",
       .value = "SECONDS",
       .help = "kill a program that runs for longer (default 30)",
       .take = setNumber(options.hookSeconds, 1, MAX_SECONDS)},
      {.name = "led-directory",
       .value = "DIR",
       .help = "where the LEDs are (default /sys/class/leds)",
       .take = setText(options.ledDirectory)},
  };
}

CommandOptions optionsOf(Options& options) { return optionsOfDevice(options) + optionsOfActions(options); }

XCode check(const Options& options) {
  if (options.interface.isEmpty()) return XCode::error("expecting --interface NAME"_s);
  if (options.description.model.isEmpty()) return XCode::error("expecting --model TEXT"_s);
  if (!options.blinkProgram.isEmpty() && !options.blinkLed.isEmpty()) {
    return XCode::error("--blink-program and --blink-led exclude each other"_s);
  }
  if (!options.onboardProgram.isEmpty() && !options.description.supportsOnboarding) {
    return XCode::error("--onboard-program needs --supports-onboarding"_s);
  }
  return XCode();
}

}  // namespace

XCode parseOptions(int argc, char* const argv[], Options& options) {
  CommandRequest request = CommandRequest::RUN;
  XCode result = readCommandLine(argc, argv, optionsOf(options), request);
  if (result.isErr()) return result;
  if (request == CommandRequest::RUN) return check(options);
  options.command = request == CommandRequest::HELP ? Options::Command::HELP : Options::Command::VERSION;
  return result;
}

String usage() {
  Options options;
  return String::format(
      "Usage: discovery-responder --interface NAME --model TEXT [OPTION]...\n"
      "Tells discovery-client on the LAN what this device is, makes it blink, and takes its organisation key.\n"
      "\n%s%s",
      describeOptions(optionsOf(options)).c_str(), describeStandardOptions().c_str());
}

}  // namespace DeviceDiscovery::Responder
