// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/Sweep.h"

#include <algorithm>
#include <utility>

namespace ServiceScan {
namespace {

constexpr unsigned PRIORITY = 1;
constexpr std::uint64_t TICK_MS = 10;
// Neighbours are given back so many at a time, which keeps the cost of looking through the kernel's table small.
constexpr std::size_t NEIGHBOURS_AT_ONCE = 64;
// The last packets of a connection that was closed would put a neighbour back that goes at once.
constexpr std::int64_t LINGER_MS = 50;

}  // namespace

Sweep::Sweep(KXEventLoop& loop, Milliseconds clock, const SweepOptions& options, HostSweep::Neighbours& neighbours,
             Targets& targets)
    : loop_(loop),
      clock_(std::move(clock)),
      options_(options),
      slices_(neighbours),
      targets_(targets),
      patience_(options.timeoutMs),
      budget_(options.packetsPerSecond) {
  hosts_.resize(targets_.hosts.size());
  for (ProbeIndex index = 0; index < targets_.probes.size(); ++index) {
    const Probe& probe = targets_.probes[index];
    if (probe.state == Probe::State::ENDED) {
      ++ended_;
    } else {
      lanes_[static_cast<std::size_t>(probe.service)].probes.push_back(index);
      if (hosts_[probe.host].probesLeft++ == 0) hosts_[probe.host].number = hostsAsked_++;
    }
  }
  slices_.plan(hostsAsked_, addresses());
}

std::vector<std::uint32_t> Sweep::addresses() const {
  std::vector<std::uint32_t> addresses;
  for (const Host& host : targets_.hosts) addresses.push_back(host.address);
  return addresses;
}

void Sweep::start(Probers& probers) {
  probers_ = &probers;
  tick_ = loop_.createTimeoutEvent(PRIORITY, [this] { onTick(); });
  tick_->start(TICK_MS, true, true);
}

void Sweep::onTick() {
  expire();
  slices_.giveBack(clock_(), 1);
  startProbes();
  stopAtTheEnd();
}

void Sweep::batchEnded() {
  slices_.giveBack(clock_(), NEIGHBOURS_AT_ONCE);
  startProbes();
  stopAtTheEnd();
}

void Sweep::stopAtTheEnd() {
  if (ended_ < targets_.probes.size()) return;
  tick_->stop();
  slices_.giveBack(clock_() + LINGER_MS, 1);
  loop_.stop();
}

void Sweep::startProbes() {
  // What fails while it is started reports its end in here.
  if (isStarting_) return;
  isStarting_ = true;
  const std::int64_t now = clock_();
  budget_.refill(now);
  // One of each service in turn, so that they share the network from the first host to the last.
  bool isProgressing = true;
  while (isProgressing) {
    isProgressing = false;
    for (Lane& lane : lanes_) isProgressing |= startNext(lane, now);
  }
  for (const std::unique_ptr<Prober>& prober : *probers_) {
    if (prober != nullptr) prober->flush();
  }
  isStarting_ = false;
}

bool Sweep::startNext(Lane& lane, std::int64_t now) {
  if (lane.next == lane.probes.size() || running_ >= options_.parallel) return false;
  const ProbeIndex index = lane.probes[lane.next];
  Probe& probe = targets_.probes[index];
  if (!slices_.allows(hosts_[probe.host].number)) return false;
  if (!lane.pace.allows(now, targets_.probes) || !budget_.take()) return false;
  probe.state = Probe::State::RUNNING;
  lane.pace.onStarted(now, index, probe);
  ++running_;
  const bool hasStarted = proberOf(probe).start(index);
  if (!hasStarted && running_ > 1) {
    // Others will make room when they end.
    lane.pace.onEnded(probe);
    probe.state = Probe::State::WAITING;
    --running_;
    return false;
  }
  if (!hasStarted) fail(index, "Out of resources"_s);
  ++lane.next;
  AskedHost& host = hosts_[probe.host];
  if (host.asked < 0) host.asked = now;
  waits_.push({now + patience_.least(), now, now, index, options_.tries - 1});
  return true;
}

void Sweep::expire() {
  const std::int64_t now = clock_();
  budget_.refill(now);
  while (expireFirst(now)) {
  }
}

// False when none is due, or none may be sent for now. What is due by the least of patience may have to wait on.
bool Sweep::expireFirst(std::int64_t now) {
  if (waits_.empty() || waits_.top().due > now) return false;
  Wait wait = waits_.top();
  const bool isWaiting = isRunning(wait);
  wait.due = isToRepeat(wait) ? wait.asked + patience() : endOf(wait, now);
  const bool isDue = isWaiting && wait.due <= now;
  if (isDue && isToRepeat(wait) && !budget_.take()) return false;
  waits_.pop();
  if (!isDue) {
    if (isWaiting) waits_.push(wait);
  } else if (isToRepeat(wait)) {
    repeat(wait, now);
  } else {
    giveUp(wait.probe);
  }
  return true;
}

bool Sweep::isToRepeat(const Wait& wait) {
  return wait.triesLeft > 0 && proberOf(targets_.probes[wait.probe]).isToRepeat();
}

// When the last try is over, as far as is known by now. Of a host that was asked once only, a packet may have been
// lost: TCP takes a second to send it again.
std::int64_t Sweep::endOf(const Wait& wait, std::int64_t now) const {
  const AskedHost& host = hosts_[targets_.probes[wait.probe].host];
  const std::int64_t silence = std::max(wait.asked + patience(), host.asked + patience() * options_.tries);
  if (!host.hasShownItself && (silence > now || host.isAskedAgain)) return silence;
  return wait.start + std::int64_t{options_.timeoutMs} * options_.tries;
}

void Sweep::repeat(Wait wait, std::int64_t now) {
  wait.asked = now;
  wait.due = now + patience_.least();
  --wait.triesLeft;
  waits_.push(wait);
  const Probe& probe = targets_.probes[wait.probe];
  // Where the system has no room for the packet now, the next try has to do.
  if (proberOf(probe).start(wait.probe)) hosts_[probe.host].isAskedAgain = true;
}

void Sweep::giveUp(ProbeIndex index) { fail(index, proberOf(targets_.probes[index]).giveUp(index)); }

bool Sweep::end(ProbeIndex index) {
  Probe& probe = targets_.probes[index];
  if (probe.state != Probe::State::RUNNING) return false;
  probe.state = Probe::State::ENDED;
  lanes_[static_cast<std::size_t>(probe.service)].pace.onEnded(probe);
  --running_;
  ++ended_;
  AskedHost& host = hosts_[probe.host];
  host.isConnected |= probe.service == Service::HTTP || probe.service == Service::HTTPS;
  if (--host.probesLeft == 0) {
    // One that is silent may have answered the ARP request all the same.
    slices_.ended(targets_.addressOf(probe), HostSweep::Slices::Host::SPOKE,
                  clock_() + (host.isConnected ? LINGER_MS : 0));
  }
  return true;
}

void Sweep::answered(ProbeIndex index, const String& model, const String& systemObjectId) {
  if (!end(index)) return;
  noticed(index);
  Probe& probe = targets_.probes[index];
  probe.successful = true;
  probe.model = model;
  probe.systemObjectId = systemObjectId;
  ++successful_;
}

void Sweep::noticed(ProbeIndex index) {
  AskedHost& host = hosts_[targets_.probes[index].host];
  if (!host.hasShownItself) patience_.onFirstSign(clock_() - host.asked);
  host.hasShownItself = true;
}

void Sweep::failed(ProbeIndex index, const String& reason) {
  // A refusal is a sign of life, but says nothing of the host's pace.
  hosts_[targets_.probes[index].host].hasShownItself = true;
  fail(index, reason);
}

void Sweep::fail(ProbeIndex index, const String& reason) {
  if (end(index)) targets_.probes[index].reason = reason;
}

}  // namespace ServiceScan
