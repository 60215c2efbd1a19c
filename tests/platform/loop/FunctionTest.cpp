// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "platform/loop/Function.h"
#include "platform/loop/UvEventLoop.h"
#include "platform/testing/VirtualEventLoop.h"

namespace {

class Target final : public KX::RefCountedUnlessBeingDestroying {
 public:
  explicit Target(bool& isGone) : isGone_(isGone) {}
  ~Target() override { isGone_ = true; }

  int doubled(int value) {
    ++calls;
    return 2 * value;
  }
  void note(std::string text) { notes.push_back(std::move(text)); }
  // Drops the last reference that the test holds, then goes on to use the object.
  void releaseSelf() {
    self.reset();
    wasAliveAfterRelease = !isGone_;
    ++calls;
  }
  void noteThread() { thread = std::this_thread::get_id(); }

  KXPtr<Target> self;
  std::vector<std::string> notes;
  int calls = 0;
  bool wasAliveAfterRelease = false;
  std::thread::id thread;

 private:
  bool& isGone_;
};

class FunctionTest : public testing::Test {
 protected:
  bool isGone_ = false;
  KX::Testing::VirtualEventLoop loop_;
  KXPtr<Target> target_{new Target(isGone_)};
};

TEST_F(FunctionTest, EmptyOneIsFalseAndDropsItsCalls) {
  const KX::Function<int(int)> function;
  EXPECT_FALSE(function);
  EXPECT_EQ(function(7), 0);
}

TEST_F(FunctionTest, DirectCallRunsAtOnce) {
  const auto function = KX::Function<int(int)>::direct(target_.get(), &Target::doubled);
  EXPECT_TRUE(function);
  EXPECT_EQ(function(21), 42);
}

TEST_F(FunctionTest, LambdaIsADirectCall) {
  int seen = 0;
  const KX::Function<void(int)> function([&](int value) { seen = value; });
  function(5);
  EXPECT_EQ(seen, 5);
}

TEST_F(FunctionTest, DoesNotKeepItsTargetAlive) {
  const auto function = KX::Function<int(int)>::direct(target_.get(), &Target::doubled);
  target_.reset();
  EXPECT_TRUE(isGone_);
}

TEST_F(FunctionTest, CallWithoutItsTargetGivesADefault) {
  const auto function = KX::Function<int(int)>::direct(target_.get(), &Target::doubled);
  target_.reset();
  EXPECT_EQ(function(21), 0);
}

TEST_F(FunctionTest, TargetReleasedInItsOwnCallLivesUntilTheCallEnds) {
  Target& target = *target_;
  target.self = target_;
  const auto function = KX::Function<void()>::direct(&target, &Target::releaseSelf);
  target_.reset();
  ASSERT_FALSE(isGone_);
  bool wasAlive = false;
  {
    const KXPtr<Target> kept(&target);
    function();
    wasAlive = target.wasAliveAfterRelease;
  }
  EXPECT_TRUE(wasAlive);
  EXPECT_TRUE(isGone_);
}

TEST_F(FunctionTest, TargetReleasedInItsOwnCallGoesAfterIt) {
  target_->self = target_;
  const auto function = KX::Function<void()>::direct(target_.get(), &Target::releaseSelf);
  target_.reset();
  function();
  EXPECT_TRUE(isGone_);
  function();  // dropped
}

TEST_F(FunctionTest, AsynchronousCallRunsInALaterTurn) {
  const auto function = KX::Function<void(std::string)>::asynchronous(loop_, target_.get(), &Target::note);
  function("first");
  function("second");
  EXPECT_TRUE(target_->notes.empty());
  loop_.runPosted();
  EXPECT_EQ(target_->notes, (std::vector<std::string>{"first", "second"}));
}

TEST_F(FunctionTest, AsynchronousCallKeepsCopiesOfItsArguments) {
  const auto function = KX::Function<void(const std::string&)>::asynchronous(
      loop_, [&](const std::string& text) { target_->note(text); });
  {
    const std::string shortLived = "a text that is too long to be stored inside of the string object";
    function(shortLived);
  }
  loop_.runPosted();
  ASSERT_EQ(target_->notes.size(), 1U);
  EXPECT_EQ(target_->notes[0], "a text that is too long to be stored inside of the string object");
}

TEST_F(FunctionTest, AsynchronousCallIsDroppedWhenItsTargetGoesBeforeIt) {
  const auto function = KX::Function<void(std::string)>::asynchronous(loop_, target_.get(), &Target::note);
  function("never");
  target_.reset();
  EXPECT_TRUE(isGone_);
  loop_.runPosted();
}

TEST_F(FunctionTest, AsynchronousCallOutlivesItsFunction) {
  {
    const auto function = KX::Function<void(std::string)>::asynchronous(loop_, target_.get(), &Target::note);
    function("text");
  }
  loop_.runPosted();
  EXPECT_EQ(target_->notes.size(), 1U);
}

TEST_F(FunctionTest, SynchronousCallOnTheLoopsThreadRunsAtOnce) {
  const auto function = KX::Function<int(int)>::synchronous(loop_, target_.get(), &Target::doubled);
  EXPECT_EQ(function(4), 8);
}

TEST_F(FunctionTest, SynchronousCallWithoutItsTargetGivesADefault) {
  const auto function = KX::Function<int(int)>::synchronous(loop_, target_.get(), &Target::doubled);
  target_.reset();
  EXPECT_EQ(function(4), 0);
}

TEST_F(FunctionTest, SynchronousCallFromAnotherThreadRunsOnTheLoopAndGivesItsResult) {
  KX::UvEventLoop loop;
  const auto call = KX::Function<int(int)>::synchronous(loop, target_.get(), &Target::doubled);
  const auto noteThread = KX::Function<void()>::synchronous(loop, target_.get(), &Target::noteThread);
  int result = 0;
  std::thread caller([&] {
    result = call(100);
    noteThread();
    loop.post([&] { loop.stop(); });
  });
  loop.run();
  caller.join();
  EXPECT_EQ(result, 200);
  EXPECT_EQ(target_->thread, std::this_thread::get_id());
}

TEST_F(FunctionTest, SynchronousCallFromAnotherThreadIsDroppedWhenItsTargetIsGone) {
  KX::UvEventLoop loop;
  const auto call = KX::Function<int(int)>::synchronous(loop, target_.get(), &Target::doubled);
  target_.reset();
  int result = -1;
  std::thread caller([&] {
    result = call(100);
    loop.post([&] { loop.stop(); });
  });
  loop.run();
  caller.join();
  EXPECT_EQ(result, 0);
}

TEST_F(FunctionTest, AsynchronousCallsFromAnotherThreadRunOnTheLoopInOrder) {
  constexpr int CALLS = 1000;
  KX::UvEventLoop loop;
  const auto note = KX::Function<void(std::string)>::asynchronous(loop, target_.get(), &Target::note);
  std::thread caller([&] {
    for (int i = 0; i < CALLS; ++i) note(std::to_string(i));
    loop.post([&] { loop.stop(); });
  });
  loop.run();
  caller.join();
  ASSERT_EQ(target_->notes.size(), std::size_t{CALLS});
  for (int i = 0; i < CALLS; ++i) EXPECT_EQ(target_->notes[static_cast<std::size_t>(i)], std::to_string(i));
}

}  // namespace
