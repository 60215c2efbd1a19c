// SPDX-License-Identifier: Apache-2.0
#include <csignal>

#include "platform/base/Memory.h"
#include "platform/loop/UvEventLoop.h"
#include "program/Complaint.h"
#include "program/ServiceNotifier.h"
#include "program/StandardDescriptors.h"
#include "tools/responder/DeviceActions.h"
#include "tools/responder/Options.h"
#include "tools/responder/Privileges.h"
#include "tools/responder/Server.h"

namespace DeviceDiscovery::Responder {
namespace {

constexpr char USUAL_PSK_FILE[] = "/etc/discovery/responder.psk";

// What needs root comes first; nothing from the network is read before it has been given up.
XCode serve(const Options& options) {
  KX::UvEventLoop loop;
  XCode result = loop.status();
  PreSharedKey preSharedKey;
  if (result.isSuccess()) {
    result = options.pskFile.isEmpty() ? readPskFileIfAny(USUAL_PSK_FILE, preSharedKey)
                                       : readPskFile(options.pskFile, preSharedKey);
  }
  DeviceActions actions(loop, options);
  if (result.isSuccess()) result = actions.prepare();
  if (result.isSuccess()) result = dropPrivileges(options.user, options.stateDirectory);
  Server server(loop, {options.interface, options.description, preSharedKey}, actions);
  if (result.isSuccess()) result = server.open();
  if (result.isErr()) return result;
  ServiceNotifier notifier(loop);
  const auto terminate = loop.createSignalEvent(SIGTERM, [&loop] { loop.stop(); });
  const auto interrupt = loop.createSignalEvent(SIGINT, [&loop] { loop.stop(); });
  notifier.ready();
  loop.run();
  return XCode();
}

}  // namespace
}  // namespace DeviceDiscovery::Responder

int main(int argc, char* argv[]) {
  using namespace DeviceDiscovery::Responder;
  KX::endProcessWhenOutOfMemory();
  Options options;
  XCode result = parseOptions(argc, argv, options);
  if (result.isErr()) return complainOfUsage(result.toString());
  switch (options.command) {
    case Options::Command::HELP:
      return print(usage());
    case Options::Command::VERSION:
      return print("discovery-responder " TOOL_VERSION "\n"_s);
    case Options::Command::RUN:
      break;
  }
  result = prepareStandardDescriptors(ClosedOutput::DISCARDS);
  if (result.isSuccess()) result = serve(options);
  return result.isErr() ? complain(result.toString()) : EXIT_DONE;
}
