// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include "platform/base/Memory.h"
#include "program/Complaint.h"
#include "program/StandardDescriptors.h"
#include "tools/client/Action.h"
#include "tools/client/Discovery.h"
#include "tools/client/Options.h"
#include "tools/client/Report.h"
#include "tools/protocol/Protocol.h"

namespace DeviceDiscovery::Client {
namespace {

constexpr char USUAL_PSK_FILE[] = "/etc/discovery/client.psk";
constexpr std::uint32_t DISCOVERY_MS = 3000;
constexpr std::uint32_t ACTION_MS = 5000;

std::uint32_t timeoutOr(const Options& options, std::uint32_t byDefault) {
  return options.timeoutMs != 0 ? options.timeoutMs : byDefault;
}

int find(const Options& options) {
  Devices devices;
  const XCode result = discover(options.interface, timeoutOr(options, DISCOVERY_MS), devices);
  if (result.isErr()) return complain(result.toString());
  if (options.json) {
    printJson(devices, stdout);
  } else {
    printTable(devices, stdout);
  }
  return finishOutput();
}

int act(const Options& options, const char* path, const String& payload) {
  Action action{options.device, path, payload, {}, timeoutOr(options, ACTION_MS)};
  XCode result = options.pskFile.isEmpty() ? readPskFileIfAny(USUAL_PSK_FILE, action.preSharedKey)
                                           : readPskFile(options.pskFile, action.preSharedKey);
  if (result.isSuccess()) result = perform(action);
  return result.isErr() ? complain(result.toString()) : EXIT_DONE;
}

}  // namespace
}  // namespace DeviceDiscovery::Client

int main(int argc, char* argv[]) {
  using namespace DeviceDiscovery;
  using namespace DeviceDiscovery::Client;
  KX::endProcessWhenOutOfMemory();
  Options options;
  XCode result = parseOptions(argc, argv, options);
  if (result.isErr()) return complainOfUsage(result.toString());
  result = prepareStandardDescriptors(ClosedOutput::FAILS);
  if (result.isErr()) return complain(result.toString());
  switch (options.command) {
    case Options::Command::HELP:
      return print(usage());
    case Options::Command::VERSION:
      return print("discovery-client " TOOL_VERSION "\n"_s);
    case Options::Command::DISCOVER:
      return find(options);
    case Options::Command::BLINK:
      return act(options, BLINK_PATH, String());
    case Options::Command::ONBOARD:
      return act(options, ONBOARD_PATH, options.organisation.toJson());
  }
  return EXIT_DONE;
}
