// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>

#include "platform/loop/KXEventTimeout.h"
#include "platform/testing/VirtualEventLoop.h"

namespace {

using namespace std::chrono_literals;

struct Owner {
  explicit Owner(KXEventLoop& loop) : timeout(loop, 1, *this, &Owner::onTimeout) {}
  void onTimeout() {
    ++calls;
    wasActive = timeout.isActive();
  }

  int calls = 0;
  bool wasActive = false;
  KXEventTimeout<Owner> timeout;
};

struct KXEventTimeoutTest : testing::Test {
  KX::Testing::VirtualEventLoop loop;
};

TEST_F(KXEventTimeoutTest, CallsItsOwner) {
  Owner owner(loop);
  EXPECT_FALSE(owner.timeout.isActive());
  owner.timeout.start(10, false, false);
  EXPECT_TRUE(owner.timeout.isActive());
  loop.advance(10ms);
  EXPECT_EQ(owner.calls, 1);
  EXPECT_FALSE(owner.wasActive);
}

TEST_F(KXEventTimeoutTest, RepeatingStaysActiveUntilStopped) {
  Owner owner(loop);
  owner.timeout.start(10, true, false);
  loop.advance(30ms);
  EXPECT_EQ(owner.calls, 3);
  EXPECT_TRUE(owner.wasActive);
  owner.timeout.stop();
  EXPECT_FALSE(owner.timeout.isActive());
  loop.advance(30ms);
  EXPECT_EQ(owner.calls, 3);
}

TEST_F(KXEventTimeoutTest, StaysActiveBetweenTheExtraCallAndTheRegularOne) {
  Owner owner(loop);
  owner.timeout.start(10, false, true);
  loop.settle();
  EXPECT_EQ(owner.calls, 1);
  EXPECT_TRUE(owner.wasActive);
  loop.advance(10ms);
  EXPECT_EQ(owner.calls, 2);
  EXPECT_FALSE(owner.timeout.isActive());
}

TEST_F(KXEventTimeoutTest, EndsWithItsOwner) {
  auto owner = std::make_unique<Owner>(loop);
  owner->timeout.start(10, true, true);
  owner.reset();
  loop.advance(30ms);
}

TEST_F(KXEventTimeoutTest, HandlerMayDestroyItsOwner) {
  struct Suicidal {
    explicit Suicidal(KXEventLoop& loop) : timeout(loop, 1, *this, &Suicidal::onTimeout) {}
    void onTimeout() { self.reset(); }
    std::unique_ptr<Suicidal> self;
    KXEventTimeout<Suicidal> timeout;
  };
  auto* suicidal = new Suicidal(loop);
  suicidal->self.reset(suicidal);
  suicidal->timeout.start(10, true, false);
  loop.advance(30ms);
}

}  // namespace
