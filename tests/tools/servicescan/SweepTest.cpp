// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "platform/testing/VirtualEventLoop.h"
#include "tools/servicescan/Sweep.h"

namespace ServiceScan {
namespace {

using KX::Testing::VirtualEventLoop;
using testing::ElementsAre;

constexpr std::uint32_t FIRST_ADDRESS = 0x0a000000;

struct Event {
  std::int64_t at;
  std::uint32_t number;  // of a probe or a host
  auto operator<=>(const Event&) const = default;
};

// How the hosts answer: the given try, so many milliseconds later. Never is try 0.
struct Behaviour {
  std::uint32_t answeredTry = 1;
  std::int64_t delayMs = 5;
};

// The hosts' side of all probers.
struct FakeNetwork {
  explicit FakeNetwork(VirtualEventLoop& itsLoop) : loop(itsLoop) {}
  std::int64_t now() const { return loop.elapsed().count(); }
  Behaviour behaviourOf(ProbeIndex probe) const {
    const auto found = exceptions.find(probe);
    return found == exceptions.end() ? usual : found->second;
  }
  std::size_t askedAt(std::int64_t time) const {
    return static_cast<std::size_t>(
        std::count_if(asked.begin(), asked.end(), [time](const Event& event) { return event.at == time; }));
  }

  VirtualEventLoop& loop;
  Outcome* outcome = nullptr;
  Behaviour usual;
  std::map<ProbeIndex, Behaviour> exceptions;
  std::set<ProbeIndex> failingAtOnce;
  std::set<ProbeIndex> accepting;  // show the host, and do not answer by that
  std::size_t room = SIZE_MAX;     // probes that the system takes at a time
  std::vector<Event> asked;
  std::map<ProbeIndex, std::uint32_t> tries;
  std::size_t running = 0;
  std::size_t mostRunning = 0;
  std::vector<std::unique_ptr<KX::TimeoutEvent>> answers;
};

class FakeProber final : public Prober {
 public:
  FakeProber(FakeNetwork& network, bool isToRepeat) : network_(network), isToRepeat_(isToRepeat) {}

  bool start(ProbeIndex probe) override {
    if (network_.running == network_.room) return false;
    network_.asked.push_back({network_.now(), probe});
    if (network_.failingAtOnce.contains(probe)) {
      network_.outcome->failed(probe, "Refused"_s);
      return true;
    }
    if (network_.accepting.contains(probe)) network_.outcome->noticed(probe);
    const std::uint32_t number = ++network_.tries[probe];
    if (number == 1) network_.mostRunning = std::max(network_.mostRunning, ++network_.running);
    if (number == network_.behaviourOf(probe).answeredTry) answerLater(probe);
    return true;
  }
  void flush() override {}
  bool isToRepeat() const override { return isToRepeat_; }
  String giveUp(ProbeIndex) override {
    --network_.running;
    return "Silence"_s;
  }

 private:
  void answerLater(ProbeIndex probe) {
    auto answer = network_.loop.createTimeoutEvent(0, [this, probe] {
      --network_.running;
      network_.outcome->answered(probe, String::format("model %u", probe), String::format("1.3.%u", probe));
      network_.outcome->batchEnded();
    });
    answer->start(static_cast<std::uint64_t>(network_.behaviourOf(probe).delayMs), false, false);
    network_.answers.push_back(std::move(answer));
  }

  FakeNetwork& network_;
  const bool isToRepeat_;
};

class FakeNeighbours final : public HostSweep::Neighbours {
 public:
  explicit FakeNeighbours(const FakeNetwork& network) : network_(network) {}

  std::size_t room() const override { return room_; }
  void measure() override { room_ = roomWhenMeasured_; }
  bool drop(const std::vector<std::uint32_t>& addresses) override {
    ++calls_;
    if (!isAllowed_) return false;
    for (const std::uint32_t address : addresses) dropped_.push_back({network_.now(), address - FIRST_ADDRESS});
    return true;
  }

  const FakeNetwork& network_;
  std::size_t room_ = 768;
  std::size_t roomWhenMeasured_ = 768;
  bool isAllowed_ = true;
  std::size_t calls_ = 0;
  std::vector<Event> dropped_;
};

class SweepTest : public testing::Test {
 protected:
  void addHost(const std::vector<Service>& services) {
    const auto number = static_cast<std::uint32_t>(targets_.hosts.size());
    Host host{};
    host.address = FIRST_ADDRESS + number;
    host.firstProbe = static_cast<ProbeIndex>(targets_.probes.size());
    for (const Service service : services) {
      Probe probe{};
      probe.service = service;
      probe.host = number;
      targets_.probes.push_back(probe);
    }
    host.endProbe = static_cast<ProbeIndex>(targets_.probes.size());
    targets_.hosts.push_back(host);
  }
  void addHosts(std::size_t count, const std::vector<Service>& services = {Service::PING}) {
    for (; count > 0; --count) addHost(services);
  }
  void limitRoomTo(std::size_t room) { neighbours_.room_ = neighbours_.roomWhenMeasured_ = room; }

  void begin() {
    sweep_ = std::make_unique<Sweep>(
        loop_, [this] { return network_.now(); }, options_, neighbours_, targets_);
    network_.outcome = sweep_.get();
    for (std::size_t index = 0; index < SERVICES; ++index) {
      const auto service = static_cast<Service>(index);
      const bool isToRepeat = service != Service::HTTP && service != Service::HTTPS;
      probers_[index] = std::make_unique<FakeProber>(network_, isToRepeat);
    }
    sweep_->start(probers_);
  }
  // Returns how long the sweep took, in milliseconds.
  std::int64_t run() {
    begin();
    loop_.run();
    EXPECT_EQ(sweep_->ended(), targets_.probes.size());
    for (const Probe& probe : targets_.probes) {
      EXPECT_EQ(probe.state, Probe::State::ENDED);
      EXPECT_EQ(probe.successful, probe.reason.isEmpty());
    }
    return network_.now();
  }
  // Hosts that stood in the neighbour table at a time, at most, when every question makes an entry.
  std::size_t mostNeighbours() const {
    std::size_t most = 0;
    std::set<std::uint32_t> entries;
    auto dropped = neighbours_.dropped_.begin();
    for (const Event& asked : network_.asked) {
      for (; dropped != neighbours_.dropped_.end() && dropped->at <= asked.at; ++dropped)
        entries.erase(dropped->number);
      entries.insert(targets_.probes[asked.number].host);
      most = std::max(most, entries.size());
    }
    return most;
  }

  VirtualEventLoop loop_;
  FakeNetwork network_{loop_};
  FakeNeighbours neighbours_{network_};
  SweepOptions options_;
  Targets targets_;
  Sweep::Probers probers_;
  std::unique_ptr<Sweep> sweep_;
};

TEST_F(SweepTest, NothingToAskEndsAtOnce) {
  EXPECT_EQ(run(), 0);
  addHosts(3, {});
  EXPECT_EQ(run(), 0);
  EXPECT_TRUE(network_.asked.empty());
}

TEST_F(SweepTest, AServiceThatNobodyAsksForNeedsNoProber) {
  addHost({Service::PING});
  begin();
  for (std::size_t index = 1; index < SERVICES; ++index) probers_[index].reset();
  loop_.run();
  EXPECT_TRUE(targets_.probes[0].successful);
}

TEST_F(SweepTest, AnswersStandWithTheirProbesInWhateverOrderTheyCome) {
  addHosts(20);
  for (ProbeIndex index = 0; index < 20; ++index) network_.exceptions[index] = {1, 100 - index};
  run();
  EXPECT_EQ(sweep_->successful(), 20U);
  for (ProbeIndex index = 0; index < 20; ++index) {
    EXPECT_EQ(network_.asked[index], (Event{0, index}));
    EXPECT_EQ(targets_.probes[index].model, String::format("model %u", index));
    EXPECT_EQ(targets_.probes[index].systemObjectId, String::format("1.3.%u", index));
  }
}

TEST_F(SweepTest, ServicesTakeTurns) {
  addHosts(3, {Service::HTTP, Service::PING});
  run();
  EXPECT_THAT(network_.asked,
              ElementsAre(Event{0, 1}, Event{0, 0}, Event{0, 3}, Event{0, 2}, Event{0, 5}, Event{0, 4}));
}

TEST_F(SweepTest, TheLastAnswerEndsTheSweep) {
  addHosts(2);
  network_.exceptions[1] = {1, 17};
  EXPECT_EQ(run(), 17);
}

TEST_F(SweepTest, ASilentHostIsAskedAsOftenAsIsSaidAndThenGivenUp) {
  addHost({Service::SNMP});
  network_.usual = {0, 0};
  options_.tries = 3;
  options_.timeoutMs = 200;
  EXPECT_EQ(run(), 600);
  EXPECT_THAT(network_.asked, ElementsAre(Event{0, 0}, Event{200, 0}, Event{400, 0}));
  EXPECT_EQ(targets_.probes[0].reason, "Silence");
  EXPECT_EQ(sweep_->successful(), 0U);
}

TEST_F(SweepTest, OneTryIsOne) {
  addHost({Service::PING});
  network_.usual = {0, 0};
  options_.tries = 1;
  EXPECT_EQ(run(), 1000);
  EXPECT_THAT(network_.asked, ElementsAre(Event{0, 0}));
}

TEST_F(SweepTest, TheSecondTryMayBeAnswered) {
  addHost({Service::SIP});
  network_.usual = {2, 5};
  EXPECT_EQ(run(), 1005);
  EXPECT_TRUE(targets_.probes[0].successful);
}

TEST_F(SweepTest, AnAnswerToTheFirstTryCountsAfterTheSecond) {
  addHost({Service::SIP});
  network_.usual = {1, 1500};
  EXPECT_EQ(run(), 1500);
  EXPECT_TRUE(targets_.probes[0].successful);
}

TEST_F(SweepTest, AnAnswerAfterTheLastTryCountsNoMore) {
  addHosts(2);
  options_.tries = 1;
  network_.exceptions[0] = {1, 1100};
  network_.exceptions[1] = {0, 0};
  begin();
  loop_.advance(std::chrono::milliseconds(1050));
  sweep_->answered(0, "late"_s, String());
  EXPECT_EQ(targets_.probes[0].reason, "Silence");
  EXPECT_EQ(targets_.probes[0].model, "");
  EXPECT_EQ(sweep_->successful(), 0U);
  EXPECT_EQ(sweep_->ended(), 2U);
}

TEST_F(SweepTest, TheFirstAnswerCountsAndNoOther) {
  addHosts(2);
  network_.exceptions[1] = {0, 0};
  begin();
  loop_.advance(std::chrono::milliseconds(10));
  sweep_->answered(0, "another"_s, String());
  sweep_->failed(0, "Refused"_s);
  EXPECT_EQ(targets_.probes[0].model, "model 0");
  EXPECT_EQ(targets_.probes[0].reason, "");
  EXPECT_EQ(sweep_->ended(), 1U);
  EXPECT_EQ(sweep_->successful(), 1U);
}

TEST_F(SweepTest, AConnectionIsStartedOnceAndHasTheTimeOfAllTries) {
  addHost({Service::HTTP});
  addHost({Service::HTTPS});
  network_.exceptions[0] = {0, 0};
  network_.exceptions[1] = {1, 2500};
  options_.tries = 3;
  EXPECT_EQ(run(), 3000);
  EXPECT_THAT(network_.asked, ElementsAre(Event{0, 0}, Event{0, 1}));
  EXPECT_FALSE(targets_.probes[0].successful);
  EXPECT_TRUE(targets_.probes[1].successful);
}

TEST_F(SweepTest, NoMoreProbesAreInFlightThanIsSaid) {
  addHosts(20, {Service::PING, Service::HTTP});
  options_.parallel = 3;
  EXPECT_EQ(run(), 14 * 5);
  EXPECT_EQ(network_.mostRunning, 3U);
}

TEST_F(SweepTest, SilentHostsHoldUpTheOthersOnlyForTheirPatience) {
  addHosts(300);
  network_.usual = {0, 0};
  run();
  EXPECT_EQ(network_.askedAt(0), Pace::WINDOW);
  EXPECT_EQ(network_.askedAt(Pace::PATIENCE_MS), Pace::WINDOW);
  EXPECT_EQ(network_.askedAt(2 * Pace::PATIENCE_MS), 300 - 2 * Pace::WINDOW);
}

TEST_F(SweepTest, AnswersMakeRoomForTheNext) {
  addHosts(300);
  EXPECT_EQ(run(), 15);
  EXPECT_EQ(network_.askedAt(0), Pace::WINDOW);
  EXPECT_EQ(network_.askedAt(5), Pace::WINDOW);
  EXPECT_EQ(network_.mostRunning, Pace::WINDOW);
}

TEST_F(SweepTest, EachServiceHasItsOwnPace) {
  addHosts(300, {Service::PING, Service::SNMP});
  network_.usual = {0, 0};
  run();
  EXPECT_EQ(network_.askedAt(0), 2 * Pace::WINDOW);
}

TEST_F(SweepTest, TheRateHoldsForFirstAndFurtherTries) {
  addHosts(50);
  network_.usual = {0, 0};
  options_.packetsPerSecond = 100;
  EXPECT_GE(run(), 1500);
  ASSERT_EQ(network_.asked.size(), 100U);
  for (std::size_t index = 0; index + 10 < 100; ++index) {
    // Ten more take a tenth of a second, but for the twentieth that may have gathered.
    EXPECT_GE(network_.asked[index + 10].at - network_.asked[index].at, 50) << index;
  }
}

TEST_F(SweepTest, TheRateHoldsForConnections) {
  addHosts(30, {Service::HTTP});
  options_.packetsPerSecond = 100;
  EXPECT_EQ(run(), 305);
}

TEST_F(SweepTest, ARateBelowTheTicksIsKept) {
  addHosts(3);
  options_.packetsPerSecond = 1;
  EXPECT_EQ(run(), 3005);
  EXPECT_THAT(network_.asked, ElementsAre(Event{1000, 0}, Event{2000, 1}, Event{3000, 2}));
}

TEST_F(SweepTest, WhatTheSystemHasNoRoomForIsAskedLaterInOrder) {
  addHosts(10, {Service::HTTP});
  network_.room = 4;
  run();
  EXPECT_EQ(sweep_->successful(), 10U);
  EXPECT_EQ(network_.mostRunning, 4U);
  for (ProbeIndex index = 0; index < 10; ++index) EXPECT_EQ(network_.asked[index].number, index);
}

TEST_F(SweepTest, ASystemThatTakesNothingAtAllIsAReason) {
  addHosts(3, {Service::HTTP});
  network_.room = 0;
  EXPECT_EQ(run(), 0);
  for (const Probe& probe : targets_.probes) EXPECT_EQ(probe.reason, "Out of resources");
}

TEST_F(SweepTest, AProbeMayFailWhileItIsStarted) {
  addHosts(300);
  for (ProbeIndex index = 0; index < 299; ++index) network_.failingAtOnce.insert(index);
  EXPECT_EQ(run(), 5);
  EXPECT_EQ(targets_.probes[298].reason, "Refused");
  EXPECT_TRUE(targets_.probes[299].successful);
  EXPECT_EQ(network_.asked.size(), 300U);
}

TEST_F(SweepTest, WhatHasEndedBeforeIsNotAsked) {
  addHosts(3);
  targets_.probes[1].state = Probe::State::ENDED;
  targets_.probes[1].reason = "Invalid port"_s;
  run();
  EXPECT_THAT(network_.asked, ElementsAre(Event{0, 0}, Event{0, 2}));
  EXPECT_EQ(targets_.probes[1].reason, "Invalid port");
  EXPECT_EQ(sweep_->successful(), 2U);
}

TEST_F(SweepTest, AListThatFitsTheNeighbourTableLeavesItAlone) {
  addHosts(10);
  limitRoomTo(10);
  run();
  EXPECT_EQ(neighbours_.calls_, 0U);
}

TEST_F(SweepTest, HostsThatAreNotAskedTakeUpNoRoom) {
  addHosts(10);
  for (std::size_t index = 0; index < 5; ++index) targets_.probes[index].state = Probe::State::ENDED;
  addHosts(10, {});
  limitRoomTo(5);
  begin();
  loop_.run();
  EXPECT_EQ(neighbours_.calls_, 0U);
  EXPECT_EQ(network_.askedAt(0), 5U);
}

TEST_F(SweepTest, WhatAnEarlierScanLeftMakesWayFirst) {
  addHosts(10);
  neighbours_.room_ = 5;
  neighbours_.roomWhenMeasured_ = 10;
  run();
  EXPECT_EQ(neighbours_.calls_, 1U);
  EXPECT_EQ(neighbours_.dropped_.size(), 10U);
  EXPECT_EQ(network_.askedAt(0), 10U);
}

class SlicedSweepTest : public SweepTest {
 protected:
  // Runs in slices, and forgets what made way at the beginning.
  std::int64_t runSliced(std::size_t room) {
    limitRoomTo(room);
    begin();
    neighbours_.dropped_.clear();
    loop_.run();
    EXPECT_EQ(sweep_->ended(), targets_.probes.size());
    return network_.now();
  }
};

TEST_F(SlicedSweepTest, NoMoreHostsAreAskedThanTheTableHasRoomFor) {
  addHosts(1000);
  runSliced(100);
  EXPECT_EQ(sweep_->successful(), 1000U);
  EXPECT_EQ(mostNeighbours(), 100U);
}

TEST_F(SlicedSweepTest, SilentHostsKeepTheirRoomUntilTheyAreGivenUp) {
  addHosts(20);
  network_.usual = {0, 0};
  EXPECT_EQ(runSliced(10), 2 * 2000);
  EXPECT_EQ(mostNeighbours(), 10U);
}

TEST_F(SlicedSweepTest, AHostIsGivenBackAWhileAfterTheEndOfItsLastService) {
  addHosts(2, {Service::PING, Service::HTTP});
  network_.exceptions[1] = {1, 200};
  runSliced(1);
  EXPECT_THAT(neighbours_.dropped_, ElementsAre(Event{250, 0}, Event{255, 1}));
  EXPECT_THAT(network_.asked, ElementsAre(Event{0, 0}, Event{0, 1}, Event{250, 2}, Event{250, 3}));
}

TEST_F(SlicedSweepTest, TheLastHostsAreGivenBackAtTheEnd) {
  addHosts(200);
  runSliced(100);
  std::set<std::uint32_t> dropped;
  for (const Event& event : neighbours_.dropped_) dropped.insert(event.number);
  EXPECT_EQ(dropped.size(), 200U);
  EXPECT_EQ(neighbours_.dropped_.size(), 200U);
}

TEST_F(SlicedSweepTest, AHostMayStandInTheListOften) {
  addHosts(30);
  for (Host& host : targets_.hosts) host.address = FIRST_ADDRESS;
  runSliced(10);
  EXPECT_EQ(sweep_->successful(), 30U);
}

TEST_F(SlicedSweepTest, WithoutTheRightToChangeTheTableItWaitsForTheKernel) {
  addHosts(30);
  neighbours_.isAllowed_ = false;
  const std::int64_t duration = runSliced(10);
  EXPECT_EQ(sweep_->successful(), 30U);
  EXPECT_EQ(network_.askedAt(0), 10U);
  for (std::size_t index = 10; index < 30; ++index) {
    EXPECT_GE(network_.asked[index].at - network_.asked[index - 10].at, 52'000) << index;
  }
  EXPECT_LE(duration, 2 * 52'100);
}

// Ten hosts, and one more that never answers.
class SilentHostTest : public SweepTest {
 protected:
  void SetUp() override { addHosts(10); }
  void addSilentHost(const std::vector<Service>& services = {Service::PING}) {
    const auto first = static_cast<ProbeIndex>(targets_.probes.size());
    addHost(services);
    for (ProbeIndex index = first; index < targets_.probes.size(); ++index) network_.exceptions[index] = {0, 0};
  }
};

TEST_F(SilentHostTest, CostsLessWhereOthersAreQuick) {
  addSilentHost({Service::HTTP, Service::PING});
  EXPECT_EQ(run(), 2 * Patience::LEAST_MS);
}

TEST_F(SilentHostTest, CostsTwiceTheSlowestFirstSignForEachTry) {
  network_.exceptions[3] = {1, 400};
  addSilentHost();
  EXPECT_EQ(run(), 1600);
}

TEST_F(SilentHostTest, NeverCostsMoreThanTheTimeout) {
  network_.exceptions[3] = {1, 900};
  addSilentHost();
  EXPECT_EQ(run(), 2000);
}

TEST_F(SilentHostTest, CostsItsWholeTimeWhereThatIsAskedFor) {
  options_.isPatient = true;
  addSilentHost();
  EXPECT_EQ(run(), 2000);
}

TEST_F(SilentHostTest, CostsItsWholeTimeWhereItIsAskedOnceOnly) {
  addSilentHost({Service::HTTP});
  EXPECT_EQ(run(), 2000);
}

TEST_F(SilentHostTest, WhichAcceptsAConnectionIsNotSilent) {
  addSilentHost({Service::HTTP, Service::PING});
  network_.accepting = {10};
  EXPECT_EQ(run(), 2000);
}

TEST_F(SilentHostTest, WhichRefusesAnythingIsNotSilent) {
  addSilentHost({Service::SNMP, Service::PING});
  network_.failingAtOnce = {10};
  EXPECT_EQ(run(), 2000);
}

TEST_F(SilentHostTest, WhichAnswersOneServiceHasTheWholeTimeForTheOthers) {
  addSilentHost({Service::HTTP, Service::PING});
  network_.exceptions[10] = {1, 1900};
  network_.exceptions[11] = {2, 5};
  run();
  EXPECT_TRUE(targets_.probes[10].successful);
  EXPECT_TRUE(targets_.probes[11].successful);
}

TEST_F(SweepTest, AFewHostsSayNothingAboutTheOthers) {
  addHosts(Patience::ENOUGH_HOSTS);
  network_.exceptions[0] = {0, 0};
  EXPECT_EQ(run(), 2000);
}

}  // namespace
}  // namespace ServiceScan
