// SPDX-License-Identifier: Apache-2.0
#include "bench/spawn/Commands.h"
#include "platform/loop/UvEventLoop.h"
#include "platform/process/ProcessRunner.h"

namespace {

struct Host {
  KX::UvEventLoop loop;
  KX::Shell::ProcessRunner runner{loop};
};

KX::Shell::Command commandOf(Arguments arguments) {
  String line;
  for (; *arguments != nullptr; ++arguments) line.append(line.isEmpty() ? "" : " ").append(*arguments);
  return KX::Shell::Command(line);
}

}  // namespace

std::size_t runWithRunner(Arguments arguments) {
  static Host host;
  std::size_t bytes = 0;
  KX::Future<String> future;
  const XCode started = host.runner.invoke(
      commandOf(arguments),
      [&](const XCode&, const String& rest) {
        bytes += rest.length();
        host.loop.stop();
      },
      [&](const String& piece) { bytes += piece.length(); }, {}, future);
  if (started.isSuccess()) host.loop.run();
  return bytes;
}
