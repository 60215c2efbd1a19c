// SPDX-License-Identifier: Apache-2.0
// What both loops promise.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "platform/loop/KXEventLoop.h"
#include "platform/loop/UvEventLoop.h"
#include "platform/testing/VirtualEventLoop.h"

namespace {

template <class Loop>
struct KXEventLoopTest : testing::Test {
  Loop loop_;
  std::string log_;
};

using Loops = testing::Types<KX::UvEventLoop, KX::Testing::VirtualEventLoop>;
TYPED_TEST_SUITE(KXEventLoopTest, Loops);

TYPED_TEST(KXEventLoopTest, PostedCallsRunInOrder) {
  auto& loop = this->loop_;
  for (char name = 'a'; name < 'e'; ++name) loop.post([this, name] { this->log_ += name; });
  loop.post([&] { loop.stop(); });
  EXPECT_EQ(this->log_, "");
  loop.run();
  EXPECT_EQ(this->log_, "abcd");
}

TYPED_TEST(KXEventLoopTest, CallPostedInACallRunsAfterThoseThatWaited) {
  auto& loop = this->loop_;
  loop.post([&] {
    this->log_ += 'a';
    loop.post([&] {
      this->log_ += 'c';
      loop.stop();
    });
  });
  loop.post([&] { this->log_ += 'b'; });
  loop.run();
  EXPECT_EQ(this->log_, "abc");
}

TYPED_TEST(KXEventLoopTest, StopBeforeRunMakesRunReturnAtOnce) {
  auto& loop = this->loop_;
  loop.stop();
  loop.post([&] {
    this->log_ += 'a';
    loop.stop();
  });
  loop.run();
  EXPECT_EQ(this->log_, "");
  loop.run();
  EXPECT_EQ(this->log_, "a");
}

TYPED_TEST(KXEventLoopTest, TimersFireByDueTime) {
  auto& loop = this->loop_;
  const auto c = loop.createTimeoutEvent(0, [&] {
    this->log_ += 'c';
    loop.stop();
  });
  const auto a = loop.createTimeoutEvent(5, [&] { this->log_ += 'a'; });
  const auto b = loop.createTimeoutEvent(1, [&] { this->log_ += 'b'; });
  // Anew when the machine stopped for a while between two starts: the delays would not count from one moment.
  std::chrono::steady_clock::time_point before;
  do {
    before = std::chrono::steady_clock::now();
    c->start(30, false, false);
    a->start(10, false, false);
    b->start(20, false, false);
  } while (std::chrono::steady_clock::now() - before > std::chrono::milliseconds(5));
  loop.run();
  EXPECT_EQ(this->log_, "abc");
}

TYPED_TEST(KXEventLoopTest, RepeatingTimerFiresUntilStopped) {
  auto& loop = this->loop_;
  std::unique_ptr<KX::TimeoutEvent> timer;
  timer = loop.createTimeoutEvent(1, [&] {
    this->log_ += 'a';
    if (this->log_.size() == 4) loop.stop();
  });
  timer->start(2, true, true);
  loop.run();
  EXPECT_EQ(this->log_, "aaaa");
}

TYPED_TEST(KXEventLoopTest, HandlerMayDestroyItsTimerAndOthers) {
  auto& loop = this->loop_;
  std::unique_ptr<KX::TimeoutEvent> a;
  auto b = loop.createTimeoutEvent(2, [&] { this->log_ += 'b'; });
  const auto end = loop.createTimeoutEvent(3, [&] { loop.stop(); });
  a = loop.createTimeoutEvent(1, [&] {
    a.reset();
    b.reset();
    this->log_ += 'a';
  });
  a->start(1, true, false);
  b->start(2, true, false);
  end->start(4, false, false);
  loop.run();
  EXPECT_EQ(this->log_, "a");
}

TYPED_TEST(KXEventLoopTest, TimerThatStartsItselfWithoutDelayStarvesNobody) {
  auto& loop = this->loop_;
  int rounds = 0;
  std::unique_ptr<KX::TimeoutEvent> eager;
  eager = loop.createTimeoutEvent(1, [&] {
    ++rounds;
    if (rounds == 3) {
      loop.post([&] {
        this->log_ += 'p';
        loop.stop();
      });
    }
    ASSERT_LT(rounds, 1000);
    eager->start(0, false, false);
  });
  eager->start(0, false, false);
  loop.run();
  EXPECT_EQ(this->log_, "p");
}

TYPED_TEST(KXEventLoopTest, ZeroDelayAndFireNowComeInALaterTurn) {
  auto& loop = this->loop_;
  const auto a = loop.createTimeoutEvent(1, [&] { this->log_ += 'a'; });
  const auto b = loop.createTimeoutEvent(2, [&] {
    this->log_ += 'b';
    loop.stop();
  });
  a->start(0, false, false);
  b->start(60'000, true, true);
  EXPECT_EQ(this->log_, "");
  loop.run();
  EXPECT_EQ(this->log_, "ab");
}

TYPED_TEST(KXEventLoopTest, WhatWasPostedAndHasNotRunIsDroppedWithTheLoop) {
  const auto marker = std::make_shared<int>(0);
  {
    TypeParam loop;
    loop.post([marker] { FAIL(); });
    EXPECT_EQ(marker.use_count(), 2);
  }
  EXPECT_EQ(marker.use_count(), 1);
}

TYPED_TEST(KXEventLoopTest, CapturesOfACallGoWithTheCall) {
  auto& loop = this->loop_;
  auto marker = std::make_shared<int>(0);
  loop.post([marker] {});
  loop.post([&] {
    EXPECT_EQ(marker.use_count(), 1);
    loop.stop();
  });
  loop.run();
}

TYPED_TEST(KXEventLoopTest, CurrentIsTheLoopCreatedLastOnTheThread) {
  EXPECT_EQ(KXEventLoop::current(), &this->loop_);
  {
    TypeParam inner;
    EXPECT_EQ(KXEventLoop::current(), &inner);
  }
  EXPECT_EQ(KXEventLoop::current(), &this->loop_);
}

TYPED_TEST(KXEventLoopTest, AnotherThreadHasNoLoop) {
  const KXEventLoop* seen = &this->loop_;
  bool isLoopThread = true;
  std::thread([&] {
    seen = KXEventLoop::current();
    isLoopThread = this->loop_.isLoopThread();
  }).join();
  EXPECT_EQ(seen, nullptr);
  EXPECT_FALSE(isLoopThread);
  EXPECT_TRUE(this->loop_.isLoopThread());
}

TYPED_TEST(KXEventLoopTest, ServicesAreFoundByTheirKind) {
  auto& loop = this->loop_;
  int number = 1;
  int other = 2;
  char letter = 'a';
  EXPECT_EQ(loop.template service<int>(), nullptr);
  loop.provide(&number);
  loop.provide(&letter);
  EXPECT_EQ(loop.template service<int>(), &number);
  EXPECT_EQ(loop.template service<char>(), &letter);
  loop.provide(&other);
  EXPECT_EQ(loop.template service<int>(), &other);
  loop.template provide<int>(nullptr);
  EXPECT_EQ(loop.template service<int>(), nullptr);
}

TYPED_TEST(KXEventLoopTest, AServiceOfItsOwnIsMadeOnFirstUseAndGoesWithTheLoop) {
  struct Counter {
    int count = 0;
  };
  auto loop = std::make_unique<TypeParam>();
  loop->template ownService<Counter>().count = 5;
  EXPECT_EQ(loop->template ownService<Counter>().count, 5);
  EXPECT_EQ(loop->template service<Counter>(), &loop->template ownService<Counter>());
  TypeParam other;
  EXPECT_EQ(other.template ownService<Counter>().count, 0);
  Counter provided{7};
  other.provide(&provided);
  EXPECT_EQ(other.template ownService<Counter>().count, 7);
}

// A host's own loop, as far as the time goes.
class OwnLoop : public KXEventLoop {
 public:
  void run() override {}
  void stop() override {}
  void post(Handler) override {}
  std::unique_ptr<KX::TimeoutEvent> createTimeoutEvent(unsigned, Handler) override { return nullptr; }
  std::unique_ptr<KX::WatchEvent> createDescriptorEvent(int, unsigned, std::function<void(unsigned)>) override {
    return nullptr;
  }
  std::unique_ptr<KX::WatchEvent> createSignalEvent(int, Handler) override { return nullptr; }
};

class OwnLoopThatAsksForThePresent final : public OwnLoop {
 public:
  KX::Clock now() const override { return KX::Clock::NOW(); }
};

template <class Loop>
void expectSystemTime() {
  const Loop loop;
  const KX::Clock before = KX::Clock::system();
  for (const KX::Clock& now : {loop.now(), KX::Clock::NOW(), KX::Clock::NOW()}) {
    EXPECT_GE(now.toTime(), before.toTime());
    EXPECT_LE(now.toTime(), KX::Clock::system().toTime());
  }
}

TEST(OwnLoopTest, HasTheTimeOfTheSystemWhateverItSaysOfIt) {
  expectSystemTime<OwnLoop>();
  expectSystemTime<OwnLoopThatAsksForThePresent>();
}

TEST(OwnLoopTest, ThatAsksForThePresentDoesNotHideAnotherLoopsTime) {
  const OwnLoopThatAsksForThePresent own;
  static_cast<void>(KX::Clock::NOW());
  const KX::Testing::VirtualEventLoop other(KX::Clock(5));
  EXPECT_EQ(KX::Clock::NOW(), KX::Clock(5));
}

}  // namespace
