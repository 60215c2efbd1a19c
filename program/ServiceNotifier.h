// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/base/String.h"
#include "platform/loop/KXEventLoop.h"

// Tells systemd how its service does: that it is ready, that it stops, and, where the unit has a WatchdogSec, twice in
// that time that its loop still turns. Where systemd has not asked for it (NOTIFY_SOCKET) nothing is said and no timer
// runs. What cannot be said is not said: a program does its work without systemd, too.
class ServiceNotifier {
 public:
  explicit ServiceNotifier(KXEventLoop& loop);
  ServiceNotifier(const ServiceNotifier&) = delete;
  ServiceNotifier& operator=(const ServiceNotifier&) = delete;
  // Says that the service stops.
  ~ServiceNotifier();

  void ready();
  // For what holds the loop for longer than it should and still gets on.
  void alive();

 private:
  void say(std::string_view state) const;

  String socket_;
  std::uint64_t watchdogMilliseconds_ = 0;  // 0 is none
  std::unique_ptr<KX::TimeoutEvent> timer_;
};
