// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <utility>

#include "platform/base/KXPtr.h"
#include "platform/base/RefCounted.h"

namespace {

class Animal : public KX::RefCounted {
 public:
  explicit Animal(int* alive = nullptr) : alive_(alive) {
    if (alive_ != nullptr) ++*alive_;
  }
  ~Animal() override {
    if (alive_ != nullptr) --*alive_;
  }
  virtual int legs() const { return 4; }

 private:
  int* alive_;
};

class Bird : public Animal {
 public:
  using Animal::Animal;
  int legs() const override { return 2; }
};

class Door : public KX::RefCountedUnlessBeingDestroying {
 public:
  std::recursive_mutex& getLock() const { return lock_; }
  bool isFree() const {
    bool free = false;
    std::thread([&] {
      free = lock_.try_lock();
      if (free) lock_.unlock();
    }).join();
    return free;
  }

 private:
  mutable std::recursive_mutex lock_;
};

class Owner : public KX::RefCounted {
 public:
  ~Owner() override;
  static KXLWPtr<Owner> current;
  static bool foundItself;
};
KXLWPtr<Owner> Owner::current;
bool Owner::foundItself = false;
Owner::~Owner() { foundItself = static_cast<bool>(current); }

TEST(KXPtrTest, EmptyPointerIsNull) {
  const KXLWPtr<Animal> none;
  EXPECT_FALSE(none);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(none.get(), nullptr);
  EXPECT_EQ(KXLWPtr<Animal>(nullptr), none);
  EXPECT_EQ(KXLWPtr<Animal>(static_cast<Animal*>(nullptr)), none);
}

TEST(KXPtrTest, ObjectLivesAsLongAsAPointerHoldsIt) {
  int alive = 0;
  KXLWPtr<Animal> first(new Animal(&alive));
  KXLWPtr<Animal> second = first;
  first.reset();
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(second->legs(), 4);
  second = nullptr;
  EXPECT_EQ(alive, 0);
}

TEST(KXPtrTest, MovingTakesTheReferenceAlong) {
  int alive = 0;
  KXLWPtr<Animal> first(new Animal(&alive));
  const KXLWPtr<Animal> second = std::move(first);
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(second);
  EXPECT_EQ(alive, 1);
}

TEST(KXPtrTest, AssignmentToItselfKeepsTheObject) {
  int alive = 0;
  KXLWPtr<Animal> pointer(new Animal(&alive));
  KXLWPtr<Animal>& same = pointer;
  pointer = same;
  EXPECT_EQ(alive, 1);
  pointer = pointer.get();
  EXPECT_EQ(alive, 1);
}

TEST(KXPtrTest, ConvertsToABaseButNotBack) {
  int alive = 0;
  {
    const KXPtr<Bird> bird(new Bird(&alive));
    const KXPtr<Animal> animal = bird;
    EXPECT_EQ(animal->legs(), 2);
    EXPECT_EQ(animal.get(), bird.get());
  }
  EXPECT_EQ(alive, 0);
  static_assert(std::is_convertible_v<KXPtr<Bird>, KXPtr<Animal>>);
  static_assert(!std::is_convertible_v<KXPtr<Animal>, KXPtr<Bird>>);
}

TEST(KXPtrTest, ComparesObjects) {
  const KXLWPtr<Animal> first(new Animal);
  const KXLWPtr<Animal> second(new Animal);
  EXPECT_TRUE(first == KXLWPtr<Animal>(first));
  EXPECT_FALSE(first == second);
}

TEST(KXPtrTest, PointerIsNullBeforeItsObjectGoes) {
  Owner::foundItself = true;
  Owner::current = new Owner;
  Owner::current.reset();
  EXPECT_FALSE(Owner::foundItself);
}

TEST(KXLockPtrTest, HoldsTheLockForItsScope) {
  const KXPPtr<Door> door(new Door);
  {
    const KXLockPtr<Door> locked(door);
    EXPECT_FALSE(locked->isFree());
    const KXLockPtr<Door> again(door);
    EXPECT_EQ(&*again, door.get());
  }
  EXPECT_TRUE(door->isFree());
}

TEST(KXLockPtrTest, KeepsTheObjectUntilItIsUnlocked) {
  KXPPtr<Door> door(new Door);
  const KXLockPtr<Door> locked(door);
  door.reset();
  EXPECT_FALSE(locked->isFree());
}

}  // namespace
