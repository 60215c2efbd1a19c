// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <thread>

#include "platform/base/KXPtr.h"
#include "platform/base/RefCounted.h"

namespace {

class Plain : public KX::RefCounted {
 public:
  explicit Plain(int& destroyed) : destroyed_(destroyed) {}
  ~Plain() override { ++destroyed_; }

 private:
  int& destroyed_;
};

// Takes references to itself while it is destroyed, as an object does that emits a last signal.
class SelfHolder : public KX::RefCountedUnlessBeingDestroying {
 public:
  explicit SelfHolder(int& destroyed) : destroyed_(destroyed) {}
  ~SelfHolder() override {
    ++destroyed_;
    const KXPtr<SelfHolder> first(this);
    const KXPtr<SelfHolder> second = first;
  }
  using KX::RefCountedUnlessBeingDestroying::expireWeakLink;

 private:
  int& destroyed_;
};

TEST(RefCountedTest, LastReleaseDestroys) {
  int destroyed = 0;
  auto* object = new Plain(destroyed);
  object->addRef();
  object->addRef();
  object->release();
  EXPECT_EQ(destroyed, 0);
  object->release();
  EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedUnlessBeingDestroyingTest, LastReleaseDestroys) {
  int destroyed = 0;
  auto* object = new SelfHolder(destroyed);
  object->addRef();
  object->addRef();
  object->release();
  EXPECT_EQ(destroyed, 0);
  object->release();
  EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedUnlessBeingDestroyingTest, ReferencesTakenInTheDestructorDestroyNothingTwice) {
  int destroyed = 0;
  { const KXPtr<SelfHolder> object(new SelfHolder(destroyed)); }
  EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedUnlessBeingDestroyingTest, IsCountedByManyThreads) {
  int destroyed = 0;
  {
    const KXPtr<SelfHolder> object(new SelfHolder(destroyed));
    const auto copyOften = [&object] {
      for (int i = 0; i < 20000; ++i) const KXPtr<SelfHolder> copy = object;
    };
    std::thread first(copyOften);
    std::thread second(copyOften);
    first.join();
    second.join();
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(WeakLinkTest, IsTheSameForEveryCaller) {
  int destroyed = 0;
  const KXPtr<SelfHolder> object(new SelfHolder(destroyed));
  EXPECT_EQ(object->weakLink(), object->weakLink());
}

TEST(WeakLinkTest, KeepsNothingAliveAndExpiresWithItsTarget) {
  int destroyed = 0;
  KXPtr<SelfHolder> object(new SelfHolder(destroyed));
  const KX::Counted<KX::WeakLink> link(object->weakLink());
  EXPECT_EQ(link->target(), object.get());
  object.reset();
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(link->target(), nullptr);
}

TEST(WeakLinkTest, ExpiresEarlyOnRequest) {
  int destroyed = 0;
  const KXPtr<SelfHolder> object(new SelfHolder(destroyed));
  const KX::Counted<KX::WeakLink> link(object->weakLink());
  object->expireWeakLink();
  EXPECT_EQ(link->target(), nullptr);
  object->expireWeakLink();
  EXPECT_EQ(destroyed, 0);
}

TEST(WeakLinkTest, UnusedLinkGoesWithItsTarget) {
  int destroyed = 0;
  KXPtr<SelfHolder> object(new SelfHolder(destroyed));
  EXPECT_NE(object->weakLink(), nullptr);
  object.reset();
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
