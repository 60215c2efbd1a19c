// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <queue>
#include <unordered_map>
#include <vector>

#include "platform/loop/KXEventLoop.h"
#include "sweep/Lan.h"
#include "sweep/PacketBudget.h"
#include "sweep/Slices.h"

namespace HostSweep {

struct SweepOptions {
  std::uint32_t packetsPerSecond = 2000;  // 0: as fast as it goes
  std::uint32_t tries = 4;         // where the kernel may be made to ask anew; else it asks three times by itself
  std::uint32_t intervalMs = 500;  // between them, and after the last one
};

// Finds the hosts of a list of addresses: a datagram to each makes the kernel ask for it by ARP, and those that answer
// appear in its neighbour table. That takes no rights. Where the process may change the table, what it knows already is
// asked anew, and so is every address from which nothing came; elsewhere what the kernel has lately heard of itself
// counts, and what it doubts is waited for. All on the loop's thread.
class Sweep {
 public:
  using Milliseconds = std::function<std::int64_t()>;  // a clock that nobody sets
  struct Events {
    // Once a host, as they answer.
    std::function<void(std::uint32_t address, const MacAddress& macAddress)> found;
    // Once, in a later turn of the loop than start. The sweep may be destroyed in it.
    std::function<void()> ended;
  };

  // The addresses are all on that LAN, and each stands in the list once.
  Sweep(KXEventLoop& loop, Milliseconds clock, const SweepOptions& options, Neighbours& neighbours, Lan& lan,
        const std::vector<std::uint32_t>& addresses, Events events);
  Sweep(const Sweep&) = delete;
  Sweep& operator=(const Sweep&) = delete;
  ~Sweep() = default;

  void start();

  std::size_t total() const { return hosts_.size(); }
  std::size_t finished() const { return finished_; }

 private:
  struct Host {
    std::uint32_t address = 0;
    std::uint32_t triesLeft = 0;
    std::int64_t asked = -1;  // the last time
    MacAddress macAddress{};  // where it is known
    bool isKnown = false;     // the kernel knew it before this sweep asked, and was not made to forget it
    bool isAlive = false;     // and does not doubt it, or it has refused the datagram
    bool isFixed = false;     // by an administrator
    bool hasEnded = false;
  };
  struct Wait {
    std::int64_t due;
    std::size_t host;
    bool operator>(const Wait& other) const { return due > other.due; }
  };

  void readKnown();
  void onTick();
  void hear();
  void hear(const Neighbour& neighbour);
  void hearRefusal(std::uint32_t address);
  Host* find(std::uint32_t address);
  void takeTurns(std::int64_t now);
  void askNext(std::int64_t now);
  bool ask(std::size_t index, std::int64_t now);
  std::int64_t patience(const Host& host) const;
  void found(Host& host);
  void end(Host& host, Slices::Host how, std::int64_t silentFrom);

  KXEventLoop& loop_;
  Milliseconds clock_;
  const SweepOptions options_;
  Lan& lan_;
  const Events events_;
  Slices slices_;
  PacketBudget budget_;
  std::vector<Host> hosts_;
  std::unordered_map<std::uint32_t, std::size_t> byAddress_;
  std::size_t next_ = 0;
  std::priority_queue<Wait, std::vector<Wait>, std::greater<>> waits_;  // the earliest on top
  std::size_t finished_ = 0;
  std::unique_ptr<KX::TimeoutEvent> tick_;
};

}  // namespace HostSweep
