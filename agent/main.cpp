// SPDX-License-Identifier: Apache-2.0
#include "agent/InterfacesCommand.h"
#include "agent/Options.h"
#include "agent/RunCommand.h"
#include "agent/ScanCommand.h"
#include "platform/base/Memory.h"
#include "program/Complaint.h"
#include "program/StandardDescriptors.h"

int main(int argc, char* argv[]) {
  KX::endProcessWhenOutOfMemory();
  Options options;
  XCode result = parseOptions(argc, argv, options);
  if (result.isErr()) return complainOfUsage(result.toString());
  const bool isRun = options.command == Options::Command::RUN;
  result = prepareStandardDescriptors(isRun ? ClosedOutput::DISCARDS : ClosedOutput::FAILS);
  if (result.isErr()) return complain(result.toString());
  switch (options.command) {
    case Options::Command::RUN:
      return runCommand(options);
    case Options::Command::SCAN:
      return scanCommand(options);
    case Options::Command::INTERFACES:
      return interfacesCommand(options);
    case Options::Command::VERSION:
      return print("discovery-agent " AGENT_VERSION "\n"_s);
    case Options::Command::HELP:
      return print(usage());
  }
  return EXIT_DONE;
}
