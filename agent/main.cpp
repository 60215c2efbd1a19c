// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "agent/Complaint.h"
#include "agent/Options.h"
#include "agent/RunCommand.h"
#include "agent/ScanCommand.h"
#include "links/StandardDescriptors.h"
#include "platform/base/Memory.h"

int main(int argc, char* argv[]) {
  KX::endProcessWhenOutOfMemory();
  if (KX::NMS::prepareStandardDescriptors().isErr()) return 1;
  Options options;
  const XCode result = parseOptions(argc, argv, options);
  if (result.isErr()) return complain(result.toString(), 2);
  switch (options.command) {
    case Options::Command::RUN:
      return runCommand(options);
    case Options::Command::SCAN:
      return scanCommand(options);
    case Options::Command::VERSION:
      std::printf("discovery-agent %s\n", AGENT_VERSION);
      break;
    case Options::Command::HELP:
      std::fputs(usage(), stdout);
      break;
  }
  return 0;
}
