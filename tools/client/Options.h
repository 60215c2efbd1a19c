// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "platform/base/String.h"
#include "platform/base/XCode.h"
#include "tools/protocol/Organisation.h"

namespace DeviceDiscovery::Client {

// What the command line asks for.
struct Options {
  enum class Command { DISCOVER, BLINK, ONBOARD, HELP, VERSION };

  Command command = Command::DISCOVER;
  String interface;
  bool json = false;
  std::uint32_t timeoutMs = 0;  // 0: the command's own default
  // Of the device to act on, in host byte order.
  std::uint32_t device = 0;
  Organisation organisation;
  String pskFile;  // empty: the usual one, when it is there
};

// Reads the command line and overwrites the organisation key in it, where every user of the machine could read it for
// as long as the program runs. An error's text is the one line to show and repeats none of the words that could be the
// key; options then hold no meaning.
[[nodiscard]] XCode parseOptions(int argc, char* const argv[], Options& options);

// The text of --help.
String usage();

}  // namespace DeviceDiscovery::Client
