// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/String.h"
#include "platform/base/XCode.h"
#include "tools/protocol/Description.h"

namespace DeviceDiscovery::Responder {

// What the command line asks for.
struct Options {
  enum class Command { RUN, HELP, VERSION };

  Command command = Command::RUN;
  String interface;
  Description description;
  String user = "discovery-responder"_s;
  String stateDirectory = "/var/lib/discovery-responder"_s;
  String pskFile;  // empty: the usual one, when it is there
  String blinkProgram;
  String blinkLed;
  String onboardProgram;
  String ledDirectory = "/sys/class/leds"_s;
  std::uint32_t blinkSeconds = 10;
  std::uint32_t hookSeconds = 30;
};

// Reads the command line. An error's text is the one line to show; options then hold no meaning.
[[nodiscard]] XCode parseOptions(int argc, char* const argv[], Options& options);

// The text of --help.
String usage();

}  // namespace DeviceDiscovery::Responder
