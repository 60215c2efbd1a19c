// SPDX-License-Identifier: Apache-2.0
#include "sweep/Sweep.h"

#include <utility>

namespace HostSweep {
namespace {

constexpr unsigned PRIORITY = 1;
constexpr std::uint64_t TICK_MS = 10;
// The kernel sends three requests by itself, a second apart.
constexpr std::int64_t KERNEL_ASKS_MS = 2000;
// A neighbour that it doubts it believes for five seconds, then asks it as often.
constexpr std::int64_t KERNEL_DOUBTS_MS = 5000 + KERNEL_ASKS_MS;

}  // namespace

Sweep::Sweep(KXEventLoop& loop, Milliseconds clock, const SweepOptions& options, Neighbours& neighbours, Lan& lan,
             const std::vector<std::uint32_t>& addresses, Events events)
    : loop_(loop),
      clock_(std::move(clock)),
      options_(options),
      lan_(lan),
      events_(std::move(events)),
      slices_(neighbours),
      budget_(options.packetsPerSecond) {
  hosts_.reserve(addresses.size());
  for (const std::uint32_t address : addresses) {
    byAddress_.emplace(address, hosts_.size());
    hosts_.push_back({});
    hosts_.back().address = address;
    hosts_.back().triesLeft = lan_.mayForget() ? options_.tries : 1;
  }
  slices_.plan(addresses.size(), addresses);
}

void Sweep::start() {
  readKnown();
  tick_ = loop_.createTimeoutEvent(PRIORITY, [this] { onTick(); });
  tick_->start(TICK_MS, true, true);
}

void Sweep::readKnown() {
  for (const Neighbour& neighbour : lan_.known()) {
    Host* const host = find(neighbour.address);
    if (host == nullptr || !neighbour.macAddress) continue;
    host->isFixed = neighbour.isFixed;
    if (lan_.mayForget() && !neighbour.isFixed) continue;
    host->isKnown = true;
    host->isAlive = neighbour.isReachable;
    host->macAddress = *neighbour.macAddress;
  }
}

void Sweep::onTick() {
  const std::int64_t now = clock_();
  budget_.refill(now);
  hear();
  takeTurns(now);
  askNext(now);
  slices_.giveBack(now, 1);
  if (finished_ < hosts_.size()) return;
  tick_->stop();
  // It may destroy this object, and its own place with it.
  const auto ended = events_.ended;
  ended();
}

void Sweep::hear() {
  const Lan::Heard heard = lan_.listen();
  for (const Neighbour& neighbour : heard.neighbours) hear(neighbour);
  for (const std::uint32_t address : heard.alive) hearRefusal(address);
}

void Sweep::hear(const Neighbour& neighbour) {
  Host* const host = find(neighbour.address);
  if (host == nullptr || host->hasEnded) return;
  if (!neighbour.macAddress) {
    if (host->isKnown && host->asked >= 0) end(*host, Slices::Host::SILENT, host->asked);
    return;
  }
  host->macAddress = *neighbour.macAddress;
  // What nobody has asked for yet shows only that there was a host once.
  if (host->asked < 0) host->isKnown = host->isKnown || !lan_.mayForget();
  host->isAlive = host->isAlive || neighbour.isReachable || !host->isKnown;
  if (host->asked >= 0 && host->isAlive) found(*host);
}

void Sweep::hearRefusal(std::uint32_t address) {
  Host* const host = find(address);
  if (host == nullptr || host->hasEnded) return;
  host->isAlive = true;
  if (host->isKnown) found(*host);
}

Sweep::Host* Sweep::find(std::uint32_t address) {
  const auto entry = byAddress_.find(address);
  return entry == byAddress_.end() ? nullptr : &hosts_[entry->second];
}

void Sweep::takeTurns(std::int64_t now) {
  while (!waits_.empty() && waits_.top().due <= now) {
    const std::size_t index = waits_.top().host;
    Host& host = hosts_[index];
    if (!host.hasEnded && host.triesLeft > 0) {
      if (!budget_.take()) return;
      waits_.pop();
      // Where the system has no room for the packet now, the next try has to do.
      static_cast<void>(ask(index, now));
    } else {
      waits_.pop();
      if (!host.hasEnded) end(host, Slices::Host::SILENT, host.asked);
    }
  }
}

void Sweep::askNext(std::int64_t now) {
  while (next_ < hosts_.size() && slices_.allows(next_) && budget_.take()) {
    if (!ask(next_, now)) return;
    ++next_;
  }
}

bool Sweep::ask(std::size_t index, std::int64_t now) {
  Host& host = hosts_[index];
  const bool isFirst = host.asked < 0;
  if (lan_.mayForget() && !host.isFixed) lan_.forget(host.address);
  const bool isAsked = lan_.ask(host.address);
  if (!isAsked && isFirst) return false;
  host.asked = now;
  --host.triesLeft;
  waits_.push({now + patience(host), index});
  if (host.isKnown && host.isAlive) found(host);
  return isAsked;
}

std::int64_t Sweep::patience(const Host& host) const {
  const std::int64_t interval = options_.intervalMs;
  if (host.isKnown && !host.isFixed) return KERNEL_DOUBTS_MS + interval;
  return lan_.mayForget() || host.isFixed ? interval : KERNEL_ASKS_MS + interval;
}

void Sweep::found(Host& host) {
  end(host, Slices::Host::SPOKE, clock_());
  events_.found(host.address, host.macAddress);
}

void Sweep::end(Host& host, Slices::Host how, std::int64_t silentFrom) {
  if (host.hasEnded) return;
  host.hasEnded = true;
  ++finished_;
  slices_.ended(host.address, how, silentFrom);
}

}  // namespace HostSweep
