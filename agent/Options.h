// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "agent/ServicePort.h"
#include "discovery/repository/Repository.h"
#include "platform/base/KXVector.h"
#include "platform/base/String.h"
#include "platform/base/XCode.h"
#include "platform/process/ProcessLimits.h"
#include "platform/service/ServiceSession.h"

// What the command line asks for.
struct Options {
  enum class Command { RUN, SCAN, INTERFACES, HELP, VERSION };
  enum class LinkKind { STDIO, UNIX };
  enum class Log { STDERR, SYSLOG };

  Command command = Command::HELP;
  LinkKind link = LinkKind::STDIO;
  String socketPath;
  String scanTool;  // empty: where the library looks for it; of run
  String database;  // empty: the kernel's interfaces
  String plan;      // empty: none
  Log log = Log::STDERR;
  unsigned verbosity = 0;
  bool clearBeforeUpdate = false;
  KX::Shell::ProcessLimits processLimits;
  unsigned nodeLimit = KX::NMS::Discovery::Repository::DEFAULT_NODE_LIMIT;
  std::size_t messageLimit = KX::NMS::SessionOptions::DEFAULT_MESSAGE_LIMIT;
  bool json = false;
  bool thorough = false;
  std::size_t maxAddresses = 4096;  // of one network that a scan sweeps
  KXVector<String> interfaces;      // regular expressions; empty: the default rule
  KXVector<ServicePort> services;   // no two alike; empty: all known ones at their usual ports
};

// Reads the command line. An error's text is the one line to show; options then hold no meaning.
[[nodiscard]] XCode parseOptions(int argc, char* const argv[], Options& options);

// The text of --help.
String usage();
