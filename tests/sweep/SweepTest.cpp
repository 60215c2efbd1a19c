// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <map>
#include <set>

#include "platform/testing/VirtualEventLoop.h"
#include "sweep/Sweep.h"

namespace HostSweep {
namespace {

using KX::Testing::VirtualEventLoop;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr std::uint32_t FIRST = 0x0a000001;
constexpr MacAddress MAC = {2, 0, 0, 0, 0, 1};

struct Event {
  std::int64_t at;
  std::uint32_t number;  // of a host
  auto operator<=>(const Event&) const = default;
};

// Hosts that answer the first, the second, … request, or none (0), after a while.
class FakeLan final : public Lan {
 public:
  explicit FakeLan(VirtualEventLoop& loop) : loop_(loop) {}

  bool ask(std::uint32_t address) override {
    if (room == 0) return false;
    --room;
    asked.push_back({loop_.elapsed().count(), address - FIRST});
    const unsigned number = ++requests_[address];
    const auto found = answersTo.find(address - FIRST);
    if (number == (found == answersTo.end() ? usually : found->second)) {
      pending_.push_back({loop_.elapsed().count() + delayMs, address - FIRST});
    }
    return true;
  }
  std::vector<Neighbour> known() override { return table; }
  Heard listen() override {
    Heard heard = std::move(queue);
    queue = {};
    for (const Event& answer : pending_) {
      if (answer.at <= loop_.elapsed().count()) heard.neighbours.push_back(entry(answer.number, true));
    }
    std::erase_if(pending_, [&](const Event& answer) { return answer.at <= loop_.elapsed().count(); });
    return heard;
  }
  bool mayForget() const override { return isAllowed; }
  void forget(std::uint32_t address) override { forgotten.insert(address - FIRST); }

  static Neighbour entry(std::uint32_t number, bool isReachable) {
    return {FIRST + number, 1, MAC, false, isReachable};
  }

  std::vector<Event> asked;
  std::set<std::uint32_t> forgotten;
  std::map<std::uint32_t, unsigned> answersTo;
  unsigned usually = 1;
  std::int64_t delayMs = 5;
  std::size_t room = SIZE_MAX;
  std::vector<Neighbour> table;
  Heard queue;
  bool isAllowed = true;

 private:
  VirtualEventLoop& loop_;
  std::map<std::uint32_t, unsigned> requests_;
  std::vector<Event> pending_;
};

class RoomyNeighbours final : public Neighbours {
 public:
  std::size_t room() const override { return size; }
  void measure() override {}
  bool drop(const std::vector<std::uint32_t>& addresses) override {
    dropped.insert(addresses.begin(), addresses.end());
    return isAllowed;
  }
  std::size_t size = 100'000;
  std::set<std::uint32_t> dropped;
  bool isAllowed = true;
};

class HostSweepTest : public testing::Test {
 protected:
  // Returns how long it took.
  std::int64_t run(std::size_t hosts) {
    begin(hosts);
    loop_.run();
    EXPECT_TRUE(hasEnded_);
    EXPECT_EQ(sweep_->finished(), hosts);
    return loop_.elapsed().count();
  }
  void begin(std::size_t hosts) {
    std::vector<std::uint32_t> addresses;
    for (std::size_t index = 0; index < hosts; ++index) addresses.push_back(FIRST + static_cast<std::uint32_t>(index));
    sweep_ = std::make_unique<Sweep>(
        loop_, [this] { return 1'000'000 + loop_.elapsed().count(); }, options_, neighbours_, lan_, addresses,
        Sweep::Events{[this](std::uint32_t address, const MacAddress& mac) {
                        EXPECT_EQ(mac, MAC);
                        found_.push_back({loop_.elapsed().count(), address - FIRST});
                      },
                      [this] {
                        hasEnded_ = true;
                        loop_.stop();
                      }});
    sweep_->start();
  }
  std::vector<std::uint32_t> foundHosts() const {
    std::vector<std::uint32_t> numbers;
    for (const Event& event : found_) numbers.push_back(event.number);
    return numbers;
  }
  void withoutRights() {
    lan_.isAllowed = false;
    neighbours_.isAllowed = false;
  }

  VirtualEventLoop loop_;
  FakeLan lan_{loop_};
  RoomyNeighbours neighbours_;
  SweepOptions options_;
  std::vector<Event> found_;
  bool hasEnded_ = false;
  std::unique_ptr<Sweep> sweep_;
};

TEST_F(HostSweepTest, NothingToAskEndsAtOnce) {
  EXPECT_EQ(run(0), 0);
  EXPECT_THAT(lan_.asked, IsEmpty());
}

TEST_F(HostSweepTest, HostsAreFoundAsTheyAnswerAndItEndsWithTheLast) {
  lan_.delayMs = 20;
  EXPECT_EQ(run(3), 20);
  EXPECT_THAT(found_, ElementsAre(Event{20, 0}, Event{20, 1}, Event{20, 2}));
}

TEST_F(HostSweepTest, SilentAddressesAreAskedAsOftenAsIsSaid) {
  lan_.usually = 0;
  EXPECT_EQ(run(1), 2000);
  EXPECT_THAT(lan_.asked, ElementsAre(Event{0, 0}, Event{500, 0}, Event{1000, 0}, Event{1500, 0}));
  EXPECT_THAT(found_, IsEmpty());
}

TEST_F(HostSweepTest, ASleeperIsFoundWhenItWakes) {
  lan_.answersTo = {{1, 4}};
  run(3);
  EXPECT_THAT(foundHosts(), ElementsAre(0, 2, 1));
  EXPECT_EQ(lan_.asked.size(), 6U);
}

TEST_F(HostSweepTest, ALateAnswerToAnEarlierRequestCounts) {
  lan_.delayMs = 1900;
  EXPECT_EQ(run(1), 1900);
  EXPECT_THAT(foundHosts(), ElementsAre(0));
}

TEST_F(HostSweepTest, TheRateIsKept) {
  options_.packetsPerSecond = 100;
  lan_.usually = 0;
  options_.tries = 2;
  run(100);
  ASSERT_EQ(lan_.asked.size(), 200U);
  for (std::size_t index = 0; index + 20 < 200; ++index) {
    // Twenty more take a fifth of a second, but for the twentieth that may have gathered.
    EXPECT_GE(lan_.asked[index + 20].at - lan_.asked[index].at, 150) << index;
  }
}

TEST_F(HostSweepTest, WhatTheSystemHasNoRoomForIsAskedLater) {
  lan_.room = 1;
  begin(2);
  loop_.advance(std::chrono::milliseconds(100));
  EXPECT_THAT(foundHosts(), ElementsAre(0));
  lan_.room = 10;
  loop_.run();
  EXPECT_THAT(foundHosts(), ElementsAre(0, 1));
}

TEST_F(HostSweepTest, WhatTheKernelKnowsIsForgottenAndAskedAnew) {
  lan_.table = {FakeLan::entry(0, true), FakeLan::entry(1, false)};
  lan_.answersTo = {{0, 0}};
  run(2);
  EXPECT_THAT(lan_.forgotten, UnorderedElementsAre(0, 1));
  EXPECT_THAT(foundHosts(), ElementsAre(1));
}

TEST_F(HostSweepTest, AnAdministratorsEntryStaysAndCountsWhenTheHostRefuses) {
  lan_.table = {{FIRST, 1, MAC, true, false}, {FIRST + 1, 1, MAC, true, false}};
  lan_.usually = 0;
  begin(2);
  loop_.advance(std::chrono::milliseconds(10));
  lan_.queue.alive = {FIRST + 1};
  loop_.run();
  EXPECT_THAT(lan_.forgotten, IsEmpty());
  EXPECT_THAT(foundHosts(), ElementsAre(1));
}

TEST_F(HostSweepTest, WhatBelongsToOthersIsLeftOut) {
  lan_.queue.neighbours = {FakeLan::entry(77, true)};
  lan_.queue.alive = {FIRST + 78};
  run(1);
  EXPECT_THAT(foundHosts(), ElementsAre(0));
}

TEST_F(HostSweepTest, AHostIsFoundOnce) {
  lan_.delayMs = 10;
  begin(2);
  lan_.answersTo = {{1, 0}};
  loop_.advance(std::chrono::milliseconds(10));
  lan_.queue.neighbours = {FakeLan::entry(0, true), FakeLan::entry(0, false)};
  lan_.queue.alive = {FIRST};
  loop_.run();
  EXPECT_THAT(foundHosts(), ElementsAre(0));
}

TEST_F(HostSweepTest, ItMayBeDestroyedAtItsEnd) {
  std::vector<std::uint32_t> addresses = {FIRST};
  sweep_ = std::make_unique<Sweep>(
      loop_, [this] { return 1'000'000 + loop_.elapsed().count(); }, options_, neighbours_, lan_, addresses,
      Sweep::Events{[](std::uint32_t, const MacAddress&) {},
                    [this] {
                      sweep_.reset();
                      loop_.stop();
                    }});
  sweep_->start();
  loop_.run();
  EXPECT_EQ(sweep_, nullptr);
}

class UnprivilegedSweepTest : public HostSweepTest {
 protected:
  void SetUp() override { withoutRights(); }
};

TEST_F(UnprivilegedSweepTest, TheKernelAsksAgainByItself) {
  lan_.usually = 0;
  EXPECT_EQ(run(1), 2500);
  EXPECT_THAT(lan_.asked, ElementsAre(Event{0, 0}));
  EXPECT_THAT(lan_.forgotten, IsEmpty());
}

TEST_F(UnprivilegedSweepTest, WhatTheKernelTrustsIsFoundWhenItIsAsked) {
  lan_.table = {FakeLan::entry(0, true)};
  lan_.usually = 0;
  EXPECT_EQ(run(1), 0);
  EXPECT_THAT(found_, ElementsAre(Event{0, 0}));
}

TEST_F(UnprivilegedSweepTest, WhatItDoubtsIsWaitedForUntilItKnows) {
  lan_.table = {FakeLan::entry(0, false), FakeLan::entry(1, false), FakeLan::entry(2, false)};
  lan_.usually = 0;
  begin(3);
  loop_.advance(std::chrono::milliseconds(5100));
  EXPECT_THAT(found_, IsEmpty());
  lan_.queue.neighbours = {FakeLan::entry(0, true), {FIRST + 1, 1, std::nullopt, false, false}};
  loop_.run();
  EXPECT_THAT(foundHosts(), ElementsAre(0));
  EXPECT_EQ(loop_.elapsed().count(), 7500);
}

TEST_F(UnprivilegedSweepTest, ARefusalShowsThatADoubtedHostIsThere) {
  lan_.table = {FakeLan::entry(0, false)};
  lan_.usually = 0;
  begin(1);
  loop_.advance(std::chrono::milliseconds(20));
  lan_.queue.alive = {FIRST};
  loop_.run();
  EXPECT_THAT(foundHosts(), ElementsAre(0));
  EXPECT_LE(loop_.elapsed().count(), 30);
}

TEST_F(UnprivilegedSweepTest, WhatIsHeardOfAnAddressBeforeItIsAskedIsDoubted) {
  options_.packetsPerSecond = 100;
  lan_.usually = 0;
  begin(30);
  loop_.advance(std::chrono::milliseconds(20));
  lan_.queue.neighbours = {FakeLan::entry(28, false), FakeLan::entry(29, true)};
  loop_.run();
  EXPECT_THAT(foundHosts(), ElementsAre(29));
}

TEST_F(HostSweepTest, NoMoreAddressesAreAskedThanTheTableHasRoomFor) {
  neighbours_.size = 10;
  lan_.usually = 0;
  lan_.answersTo = {{3, 1}, {25, 2}};
  begin(30);
  loop_.advance(std::chrono::milliseconds(400));
  EXPECT_EQ(lan_.asked.size(), 11U);  // the answer has made room for one more
  loop_.run();
  EXPECT_THAT(foundHosts(), ElementsAre(3, 25));
  EXPECT_EQ(neighbours_.dropped.size(), 30U);
}

TEST_F(UnprivilegedSweepTest, WithoutTheRightTheKernelGivesBackTheRoomOfTheSilent) {
  neighbours_.size = 10;
  lan_.usually = 0;
  EXPECT_LE(run(30), 3 * 3300);
  EXPECT_EQ(lan_.asked.size(), 30U);
  EXPECT_GE(lan_.asked[10].at, 3000);
}

}  // namespace
}  // namespace HostSweep
