// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

#include "platform/loop/UvEventLoop.h"

namespace {

using SteadyClock = std::chrono::steady_clock;
using namespace std::chrono_literals;

std::size_t openDescriptors() {
  const std::filesystem::directory_iterator folder("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
}

struct UvEventLoopTest : testing::Test {
  UvEventLoopTest() {
    EXPECT_TRUE(loop.status().isSuccess());
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
  }
  ~UvEventLoopTest() override {
    for (const int socket : sockets) {
      if (socket >= 0) close(socket);
    }
  }

  void send(int socket, const std::string& text) {
    ASSERT_EQ(write(socket, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  std::string receive(int socket) {
    char buffer[64];
    const ssize_t length = read(socket, buffer, sizeof(buffer));
    return length > 0 ? std::string(buffer, static_cast<std::size_t>(length)) : std::string();
  }

  KX::UvEventLoop loop;
  int sockets[2] = {-1, -1};
  std::string log;
};

TEST_F(UvEventLoopTest, CallPostedFromAnotherThreadWakesTheLoop) {
  std::thread::id seen;
  std::thread poster([&] {
    loop.post([&] {
      seen = std::this_thread::get_id();
      loop.stop();
    });
  });
  loop.run();
  poster.join();
  EXPECT_EQ(seen, std::this_thread::get_id());
}

TEST_F(UvEventLoopTest, CallsOfManyThreadsAllRun) {
  constexpr int THREADS = 4;
  constexpr int CALLS = 500;
  int calls = 0;
  std::vector<std::thread> threads;
  threads.reserve(THREADS);
  for (int t = 0; t < THREADS; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < CALLS; ++i) {
        loop.post([&] {
          if (++calls == THREADS * CALLS) loop.stop();
        });
      }
    });
  }
  loop.run();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(calls, THREADS * CALLS);
}

TEST_F(UvEventLoopTest, TimerIsNeverEarly) {
  for (unsigned delay = 1; delay < 6; ++delay) {
    const auto start = SteadyClock::now();
    const auto timer = loop.createTimeoutEvent(1, [&] { loop.stop(); });
    timer->start(delay, false, false);
    loop.run();
    EXPECT_GE(SteadyClock::now() - start, std::chrono::milliseconds(delay));
  }
}

TEST_F(UvEventLoopTest, SleepsUntilItsEarliestTimer) {
  const auto end = loop.createTimeoutEvent(1, [&] { loop.stop(); });
  const auto stopped = loop.createTimeoutEvent(1, [&] { log += 's'; });
  end->start(50, false, false);
  stopped->start(10, true, false);
  stopped->stop();
  rusage before{};
  rusage after{};
  getrusage(RUSAGE_THREAD, &before);
  loop.run();
  getrusage(RUSAGE_THREAD, &after);
  EXPECT_EQ(log, "");
  EXPECT_LE(after.ru_nvcsw - before.ru_nvcsw, 5);
}

TEST_F(UvEventLoopTest, PresentIsTheSystemsTime) {
  const auto before = KX::Clock::system().toMicroseconds();
  const auto now = KX::Clock::NOW().toMicroseconds();
  EXPECT_LE(before, now);
  EXPECT_LE(now, KX::Clock::system().toMicroseconds());
}

TEST_F(UvEventLoopTest, ReadableDescriptorIsReported) {
  const auto event = loop.createDescriptorEvent(sockets[0], KXEventLoop::READABLE, [&](unsigned readiness) {
    EXPECT_EQ(readiness, unsigned{KXEventLoop::READABLE});
    log += receive(sockets[0]);
    if (log == "onetwo") loop.stop();
    if (log == "one") send(sockets[1], "two");
  });
  ASSERT_NE(event, nullptr);
  send(sockets[1], "one");
  loop.run();
  EXPECT_EQ(log, "onetwo");
}

TEST_F(UvEventLoopTest, WritableDescriptorIsReported) {
  const auto event = loop.createDescriptorEvent(sockets[0], KXEventLoop::WRITABLE, [&](unsigned readiness) {
    EXPECT_EQ(readiness, unsigned{KXEventLoop::WRITABLE});
    loop.stop();
  });
  loop.run();
}

TEST_F(UvEventLoopTest, BothReadinessesCanBeAskedFor) {
  send(sockets[1], "x");
  const auto event =
      loop.createDescriptorEvent(sockets[0], KXEventLoop::READABLE | KXEventLoop::WRITABLE, [&](unsigned readiness) {
        EXPECT_EQ(readiness, unsigned{KXEventLoop::READABLE | KXEventLoop::WRITABLE});
        loop.stop();
      });
  loop.run();
}

TEST_F(UvEventLoopTest, EndOfTheOtherSideIsReadable) {
  const auto event = loop.createDescriptorEvent(sockets[0], KXEventLoop::READABLE, [&](unsigned) {
    EXPECT_EQ(receive(sockets[0]), "");
    loop.stop();
  });
  close(std::exchange(sockets[1], -1));
  loop.run();
}

TEST_F(UvEventLoopTest, PipeWithoutReaderIsReportedAsWritableSoThatTheWriterMeetsTheError) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  int calls = 0;
  const auto event = loop.createDescriptorEvent(ends[1], KXEventLoop::WRITABLE, [&](unsigned readiness) {
    EXPECT_EQ(readiness, unsigned{KXEventLoop::WRITABLE});
    // Once more, as long as the caller leaves it so.
    if (++calls == 2) loop.stop();
  });
  loop.run();
  EXPECT_EQ(calls, 2);
  close(ends[1]);
}

TEST_F(UvEventLoopTest, TwoEventsMayWatchOneDescriptor) {
  const auto reader = loop.createDescriptorEvent(sockets[0], KXEventLoop::READABLE, [&](unsigned) {
    log += receive(sockets[0]);
    loop.stop();
  });
  std::unique_ptr<KX::WatchEvent> writer;
  writer = loop.createDescriptorEvent(sockets[0], KXEventLoop::WRITABLE, [&](unsigned) {
    log += 'w';
    writer.reset();
    send(sockets[1], "r");
  });
  ASSERT_NE(reader, nullptr);
  ASSERT_NE(writer, nullptr);
  loop.run();
  EXPECT_EQ(log, "wr");
}

TEST_F(UvEventLoopTest, HandlerMayDestroyItsDescriptorEventAndCloseTheDescriptor) {
  std::unique_ptr<KX::WatchEvent> event;
  const auto marker = std::make_shared<int>(0);
  event = loop.createDescriptorEvent(sockets[0], KXEventLoop::READABLE, [&, marker](unsigned) {
    event.reset();
    close(std::exchange(sockets[0], -1));
    log += marker.use_count() > 1 ? "kept" : "gone";
    loop.stop();
  });
  send(sockets[1], "x");
  loop.run();
  EXPECT_EQ(log, "kept");
  EXPECT_EQ(marker.use_count(), 1);
}

TEST_F(UvEventLoopTest, EventDestroyedByAnotherHandlerOfTheSameTurnIsNotCalled) {
  std::unique_ptr<KX::WatchEvent> events[2];
  for (int i = 0; i < 2; ++i) {
    events[i] = loop.createDescriptorEvent(sockets[i], KXEventLoop::WRITABLE, [&, i](unsigned) {
      log += 'x';
      events[1 - i].reset();
      loop.stop();
    });
  }
  loop.run();
  EXPECT_EQ(log, "x");
}

TEST_F(UvEventLoopTest, NumberOfAClosedDescriptorMayBeWatchedAgain) {
  auto event = loop.createDescriptorEvent(sockets[0], KXEventLoop::READABLE, [](unsigned) { FAIL(); });
  const int number = sockets[0];
  event.reset();
  close(std::exchange(sockets[0], -1));
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
  ASSERT_EQ(pair[0], number);
  event = loop.createDescriptorEvent(pair[0], KXEventLoop::WRITABLE, [&](unsigned) { loop.stop(); });
  ASSERT_NE(event, nullptr);
  loop.run();
  event.reset();
  close(pair[0]);
  close(pair[1]);
}

TEST_F(UvEventLoopTest, ModeOfAWatchedDescriptorStaysAsItIs) {
  const auto event = loop.createDescriptorEvent(sockets[0], KXEventLoop::READABLE, [](unsigned) {});
  EXPECT_EQ(fcntl(sockets[0], F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(UvEventLoopTest, WhatCannotBeWatchedGivesNull) {
  const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
  const auto ignore = [](unsigned) {};
  EXPECT_EQ(loop.createDescriptorEvent(null, KXEventLoop::READABLE, ignore), nullptr);
  EXPECT_EQ(loop.createDescriptorEvent(file, KXEventLoop::READABLE, ignore), nullptr);
  EXPECT_EQ(loop.createDescriptorEvent(-1, KXEventLoop::READABLE, ignore), nullptr);
  close(null);
  close(file);
}

TEST_F(UvEventLoopTest, SignalIsReportedInTheLoopsOwnTime) {
  const auto event = loop.createSignalEvent(SIGUSR1, [&] {
    log += 's';
    loop.stop();
  });
  ASSERT_NE(event, nullptr);
  raise(SIGUSR1);
  EXPECT_EQ(log, "");
  loop.run();
  EXPECT_EQ(log, "s");
}

TEST_F(UvEventLoopTest, AllEventsOfASignalHearIt) {
  const auto first = loop.createSignalEvent(SIGUSR1, [&] { log += 'a'; });
  const auto second = loop.createSignalEvent(SIGUSR1, [&] { log += 'a'; });
  raise(SIGUSR1);
  const auto end = loop.createTimeoutEvent(1, [&] { loop.stop(); });
  end->start(5, false, false);
  loop.run();
  EXPECT_EQ(log, "aa");
}

TEST_F(UvEventLoopTest, HandlerMayDestroyItsSignalEvent) {
  std::unique_ptr<KX::WatchEvent> event;
  event = loop.createSignalEvent(SIGUSR1, [&] {
    event.reset();
    log += 's';
    loop.stop();
  });
  raise(SIGUSR1);
  loop.run();
  EXPECT_EQ(log, "s");
}

TEST_F(UvEventLoopTest, SignalEventMayGoWithASignalUnderway) {
  auto event = loop.createSignalEvent(SIGUSR1, [] { FAIL(); });
  raise(SIGUSR1);
  event.reset();
}

TEST_F(UvEventLoopTest, SignalThatCannotBeCaughtGivesNull) {
  EXPECT_EQ(loop.createSignalEvent(SIGKILL, [] {}), nullptr);
  EXPECT_EQ(loop.createSignalEvent(0, [] {}), nullptr);
}

TEST_F(UvEventLoopTest, LeavesNoDescriptorBehind) {
  const std::size_t before = openDescriptors();
  {
    KX::UvEventLoop other;
    const auto signal = other.createSignalEvent(SIGUSR1, [] {});
    const auto first = other.createDescriptorEvent(sockets[0], KXEventLoop::READABLE, [](unsigned) {});
    const auto second = other.createDescriptorEvent(sockets[0], KXEventLoop::READABLE, [](unsigned) {});
    EXPECT_GT(openDescriptors(), before);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(UvEventLoopTest, WithoutDescriptorsItSaysSoAndRunReturns) {
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  KX::UvEventLoop broken;
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(broken.status().code(), 1000 + EMFILE);
  const auto timer = broken.createTimeoutEvent(1, [] { FAIL(); });
  timer->start(0, true, true);
  broken.post([] { FAIL(); });
  EXPECT_EQ(broken.createDescriptorEvent(sockets[0], KXEventLoop::READABLE, [](unsigned) {}), nullptr);
  EXPECT_EQ(broken.createSignalEvent(SIGUSR1, [] {}), nullptr);
  broken.run();
}

}  // namespace
