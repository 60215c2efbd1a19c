// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <queue>
#include <vector>

#include "platform/loop/KXEventLoop.h"
#include "sweep/PacketBudget.h"
#include "sweep/Slices.h"
#include "tools/servicescan/Pace.h"
#include "tools/servicescan/Patience.h"
#include "tools/servicescan/Prober.h"

namespace ServiceScan {

struct SweepOptions {
  std::uint32_t timeoutMs = 1000;  // of one try
  std::uint32_t tries = 2;
  bool isPatient = false;              // waits that long at hosts that show no sign of life, too
  std::uint32_t parallel = 4096;       // probes in flight
  std::uint32_t packetsPerSecond = 0;  // 0: as fast as answers come
};

// Runs all probes of a list through the probers, in its order as far as the pace of each service allows, and stops the
// loop after the last. Three things hold it back: the number of probes in flight, the pace of a service (packets that
// leave faster than answers come would be lost in somebody's buffer), and the kernel's neighbour table (hosts beyond
// its size would be lost without a word). All on the loop's thread.
class Sweep final : public Outcome {
 public:
  using Milliseconds = std::function<std::int64_t()>;  // a clock that nobody sets
  using Probers = std::array<std::unique_ptr<Prober>, SERVICES>;

  Sweep(KXEventLoop& loop, Milliseconds clock, const SweepOptions& options, HostSweep::Neighbours& neighbours,
        Targets& targets);
  Sweep(const Sweep&) = delete;
  Sweep& operator=(const Sweep&) = delete;
  ~Sweep() = default;

  // The probers report to this object. Those of services that nobody asks for may be null.
  void start(Probers& probers);

  std::size_t ended() const { return ended_; }
  std::size_t successful() const { return successful_; }

  void answered(ProbeIndex probe, const String& model, const String& systemObjectId) override;
  void failed(ProbeIndex probe, const String& reason) override;
  void noticed(ProbeIndex probe) override;
  void batchEnded() override;

 private:
  // The probes of one service, in the order of their hosts.
  struct Lane {
    std::vector<ProbeIndex> probes;
    std::size_t next = 0;
    Pace pace;
  };
  struct Wait {
    std::int64_t due;
    std::int64_t start;  // of the first try
    std::int64_t asked;  // the last time
    ProbeIndex probe;
    std::uint32_t triesLeft;
    bool operator>(const Wait& other) const { return due > other.due; }
  };
  struct AskedHost {
    std::int64_t asked = -1;  // for the first time
    std::uint32_t probesLeft = 0;
    std::uint32_t number = 0;  // among those that are asked at all
    bool hasShownItself = false;
    bool isAskedAgain = false;
    bool isConnected = false;  // over TCP, which has last packets to send
  };

  Prober& proberOf(const Probe& probe) { return *(*probers_)[static_cast<std::size_t>(probe.service)]; }
  std::vector<std::uint32_t> addresses() const;
  void onTick();
  void stopAtTheEnd();
  void startProbes();
  bool startNext(Lane& lane, std::int64_t now);
  void expire();
  bool expireFirst(std::int64_t now);
  std::int64_t patience() const { return options_.isPatient ? options_.timeoutMs : patience_.milliseconds(); }
  bool isRunning(const Wait& wait) const { return targets_.probes[wait.probe].state == Probe::State::RUNNING; }
  bool isToRepeat(const Wait& wait);
  std::int64_t endOf(const Wait& wait, std::int64_t now) const;
  void repeat(Wait wait, std::int64_t now);
  void giveUp(ProbeIndex probe);
  void fail(ProbeIndex probe, const String& reason);
  bool end(ProbeIndex probe);

  KXEventLoop& loop_;
  Milliseconds clock_;
  const SweepOptions options_;
  HostSweep::Slices slices_;
  Targets& targets_;
  Probers* probers_ = nullptr;
  std::array<Lane, SERVICES> lanes_;
  Patience patience_;
  std::priority_queue<Wait, std::vector<Wait>, std::greater<>> waits_;  // the earliest on top
  HostSweep::PacketBudget budget_;
  std::vector<AskedHost> hosts_;  // beside those of the targets
  std::uint32_t hostsAsked_ = 0;
  std::size_t running_ = 0;
  std::size_t ended_ = 0;
  std::size_t successful_ = 0;
  bool isStarting_ = false;
  std::unique_ptr<KX::TimeoutEvent> tick_;
};

}  // namespace ServiceScan
