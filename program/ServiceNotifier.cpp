// SPDX-License-Identifier: Apache-2.0
#include "program/ServiceNotifier.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "platform/process/Descriptor.h"
#include "platform/text/Decimal.h"

namespace {

String environment(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? String(value) : String();
}

// Not for a process that inherited the variables of its parent.
std::uint64_t watchdogMilliseconds() {
  const String owner = environment("WATCHDOG_PID");
  if (!owner.isEmpty() && KX::readDecimal<std::uint64_t>(owner) != static_cast<std::uint64_t>(getpid())) return 0;
  const std::optional<std::uint64_t> microseconds = KX::readDecimal<std::uint64_t>(environment("WATCHDOG_USEC"));
  return microseconds ? *microseconds / 1000 : 0;
}

}  // namespace

ServiceNotifier::ServiceNotifier(KXEventLoop& loop) : socket_(environment("NOTIFY_SOCKET")) {
  if (socket_.isEmpty()) return;
  watchdogMilliseconds_ = watchdogMilliseconds();
  timer_ = loop.createTimeoutEvent(0, [this] { alive(); });
}

ServiceNotifier::~ServiceNotifier() { say("STOPPING=1"); }

void ServiceNotifier::ready() {
  say("READY=1");
  if (watchdogMilliseconds_ >= 2) timer_->start(watchdogMilliseconds_ / 2, true, false);
}

void ServiceNotifier::alive() {
  if (watchdogMilliseconds_ > 0) say("WATCHDOG=1");
}

void ServiceNotifier::say(std::string_view state) const {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socket_.isEmpty() || socket_.length() >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, socket_.c_str(), socket_.length());
  // A name without a file, which starts with a NUL, is written with an at sign.
  if (address.sun_path[0] == '@') address.sun_path[0] = '\0';
  const KX::Shell::Descriptor sender(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socket_.length());
  static_cast<void>(::sendto(sender.get(), state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                             reinterpret_cast<const sockaddr*>(&address), length));
}
