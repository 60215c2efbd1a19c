// SPDX-License-Identifier: Apache-2.0
// A management agent that hosts node discovery and serves one management server: host SOCKET
#include <csignal>
#include <cstdio>

#include "discovery/client/CClient.h"
#include "discovery/common/Log.h"
#include "discovery/common/ServiceConstants.h"
#include "discovery/scheduling/Scheduler.h"
#include "links/UnixLink.h"
#include "platform/database/KernelInterfaces.h"
#include "platform/loop/UvEventLoop.h"
#include "platform/process/ProcessRunner.h"

using namespace KX::NMS::Discovery;

// The library on a loop, its two wires, and the link to the server.
static XCode serve(KXEventLoop& loop, const char* socket) {
  Repository repository;
  const KXPtr<Scheduler> scheduler(new Scheduler(loop, repository));
  // Plans go from the server to the scheduler…
  const auto takePlan = [&](KX::Property::Value plan) { scheduler->updateJobDescriptions(plan); };
  const KXPPtr<CClient> client(new CClient("host", repository, {}, takePlan));
  scheduler->statusUpdated.connect([&](KX::Property::Value job) {
    // …and what became of jobs goes back. With no server connected there is nobody to tell: the next sync makes up for
    // it.
    static_cast<void>(client->sendJobStatusEvent(job));
  });

  KX::NMS::UnixLink link(loop, {client->serviceFactory(), SERVICE_NAME_DISCOVERY}, socket);
  const XCode result = link.start();
  if (result.isErr()) return result;
  loop.run();
  scheduler->clear();
  link.stop();
  return XCode();
}

int main(int argc, char* argv[]) {
  if (argc != 2) return 2;
  KX::UvEventLoop loop;
  RTD::StderrSink sink(loop);
  RTD::Monitor monitor("discovery", 0, sink);
  MON = &monitor;

  // What hangs on the loop: the runner of commands, and the device's interfaces.
  KX::Shell::ProcessRunner runner(loop);
  loop.provide<KX::Shell::Runner>(&runner);
  DB::Database database;
  loop.provide<DB::Database>(&database);
  DB::KernelInterfaces interfaces(loop, database);
  const auto onTerminate = loop.createSignalEvent(SIGTERM, [&] { loop.stop(); });

  XCode result = interfaces.start();
  if (result.isSuccess()) result = serve(loop, argv[1]);
  if (result.isErr()) std::fprintf(stderr, "host: %s\n", result.toString().c_str());
  MON = nullptr;
  return result.isErr() ? 1 : 0;
}
