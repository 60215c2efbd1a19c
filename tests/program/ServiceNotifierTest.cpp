// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstring>
#include <optional>
#include <string>

#include "platform/process/Descriptor.h"
#include "platform/testing/VirtualEventLoop.h"
#include "program/ServiceNotifier.h"

namespace {

using namespace std::chrono_literals;

// Stands where systemd does: a socket without a file, whose name is in the environment.
class ServiceNotifierTest : public testing::Test {
 protected:
  ServiceNotifierTest() : receiver_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    const std::string name = "@notifier-test-" + std::to_string(getpid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.c_str() + 1, name.size() - 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    EXPECT_EQ(bind(receiver_.get(), reinterpret_cast<const sockaddr*>(&address), length), 0);
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
    setenv("WATCHDOG_USEC", "60000000", 1);
    setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
  }
  ~ServiceNotifierTest() override {
    for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) unsetenv(name);
  }

  // What has been said since, a line each.
  std::string heard() {
    std::string text;
    char buffer[256];
    ssize_t length;
    while ((length = recv(receiver_.get(), buffer, sizeof buffer, 0)) > 0) {
      text.append(buffer, static_cast<std::size_t>(length)) += '\n';
    }
    return text;
  }

  KX::Shell::Descriptor receiver_;
  KX::Testing::VirtualEventLoop loop_;
};

TEST_F(ServiceNotifierTest, TellsThatTheServiceIsReadyAndThatItStops) {
  std::optional<ServiceNotifier> notifier(std::in_place, loop_);
  EXPECT_EQ(heard(), "");
  notifier->ready();
  EXPECT_EQ(heard(), "READY=1\n");
  notifier.reset();
  EXPECT_EQ(heard(), "STOPPING=1\n");
}

TEST_F(ServiceNotifierTest, TellsTwiceInTheWatchdogsTimeThatTheLoopTurns) {
  ServiceNotifier notifier(loop_);
  notifier.ready();
  static_cast<void>(heard());
  loop_.advance(29999ms);
  EXPECT_EQ(heard(), "");
  loop_.advance(1ms);
  EXPECT_EQ(heard(), "WATCHDOG=1\n");
  loop_.advance(60000ms);
  EXPECT_EQ(heard(), "WATCHDOG=1\nWATCHDOG=1\n");
}

TEST_F(ServiceNotifierTest, WhatHoldsTheLoopMayTellItself) {
  ServiceNotifier notifier(loop_);
  notifier.alive();
  EXPECT_EQ(heard(), "WATCHDOG=1\n");
}

TEST_F(ServiceNotifierTest, WithoutAWatchdogNoTimerRuns) {
  for (const char* of : {"the parent", "nobody"}) {
    SCOPED_TRACE(of);
    if (std::string(of) == "nobody") unsetenv("WATCHDOG_USEC");
    setenv("WATCHDOG_PID", std::to_string(getppid()).c_str(), 1);
    std::optional<ServiceNotifier> notifier(std::in_place, loop_);
    notifier->ready();
    loop_.advance(3600000ms);
    notifier->alive();
    EXPECT_EQ(heard(), "READY=1\n");
    notifier.reset();
    EXPECT_EQ(heard(), "STOPPING=1\n");
  }
}

TEST_F(ServiceNotifierTest, SaysNothingWhereNobodyAsked) {
  for (const char* address : {"", "/no/such/socket", "@nobody-listens-here"}) {
    setenv("NOTIFY_SOCKET", address, 1);
    ServiceNotifier notifier(loop_);
    notifier.ready();
    loop_.advance(60000ms);
  }
  setenv("NOTIFY_SOCKET", std::string(200, 'x').c_str(), 1);
  ServiceNotifier(loop_).ready();
  EXPECT_EQ(heard(), "");
}

}  // namespace
