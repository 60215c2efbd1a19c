// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/String.h"
#include "platform/base/XCode.h"
#include "platform/net/IpAddress.h"
#include "tools/servicescan/Sweep.h"

namespace ServiceScan {

// What the command line asks for.
struct Options {
  enum class Command { SCAN, SWEEP, HELP, VERSION };

  Command command = Command::SCAN;
  String targetFile;
  std::vector<String> targets;  // addresses, prefixes and services, in the place of a file
  IpAddress sweepNetwork;
  std::uint32_t maxAddresses = 4096;  // of a sweep
  bool json = false;
  String community = "public"_s;
  SweepOptions sweep;
};

// Reads the command line. An error's text is the one line to show; options then hold no meaning.
[[nodiscard]] XCode parseOptions(int argc, char* const argv[], Options& options);

// The text of --help.
String usage();

}  // namespace ServiceScan
