// SPDX-License-Identifier: Apache-2.0
// The yardstick of servicescan: one thread and one epoll loop that do nothing but send and receive the same probes, and
// count the answers. Reads the same input file:
//   limit [HOSTS] FILE
// HOSTS bounds how many are asked at once (900; the kernel's neighbour table holds 1,024 by default).
#include <sys/epoll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>

#include "bench/limit/DatagramProbe.h"
#include "bench/limit/Input.h"
#include "bench/limit/StreamProbe.h"

namespace {

using Limit::Clock;

constexpr std::array<Limit::Service, 3> DATAGRAM_SERVICES = {Limit::PING, Limit::SNMP, Limit::SIP};
constexpr std::array<Limit::Service, 2> STREAM_SERVICES = {Limit::HTTP, Limit::HTTPS};
constexpr unsigned SERVICE_SHIFT = 32;
constexpr std::size_t HOSTS_AT_ONCE = 900;

using Answers = std::array<std::size_t, Limit::SERVICE_NAMES.size()>;

class Loop {
 public:
  Loop(const Limit::Input& input, std::size_t hostsAtOnce)
      : epoll_(epoll_create1(EPOLL_CLOEXEC)), gate_(input.hosts, hostsAtOnce) {
    for (const Limit::Service service : DATAGRAM_SERVICES) addDatagrams(service, input.targets[service]);
    for (const Limit::Service service : STREAM_SERVICES) {
      const std::uint64_t tag = static_cast<std::uint64_t>(service) << SERVICE_SHIFT;
      streams_[service] = std::make_unique<Limit::StreamProbe>(service, input.targets[service], gate_, epoll_, tag);
    }
  }
  ~Loop() { close(epoll_); }
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  // Sending goes before receiving: who does not answer is waited for in any case, and TLS takes its time.
  void run() {
    std::array<epoll_event, 256> events;
    for (int timeout = 0; (timeout = send()) >= 0;) {
      if (timeout == 0) continue;
      const int count = epoll_wait(epoll_, events.data(), events.size(), timeout);
      const Clock::time_point now = Clock::now();
      for (int i = 0; i < count; ++i) handle(events[static_cast<std::size_t>(i)].data.u64, now);
    }
  }

  Answers answers() const {
    Answers result{};
    for (std::size_t i = 0; i < result.size(); ++i) {
      result[i] = (datagrams_[i] ? datagrams_[i]->answers() : 0) + (streams_[i] ? streams_[i]->answers() : 0);
    }
    return result;
  }

 private:
  void addDatagrams(Limit::Service service, const std::vector<Limit::Target>& targets) {
    if (targets.empty()) return;
    datagrams_[service] = std::make_unique<Limit::DatagramProbe>(service, targets, gate_);
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = static_cast<std::uint64_t>(service) << SERVICE_SHIFT;
    epoll_ctl(epoll_, EPOLL_CTL_ADD, datagrams_[service]->socket(), &event);
  }

  void handle(std::uint64_t data, Clock::time_point now) {
    const std::size_t service = data >> SERVICE_SHIFT;
    if (datagrams_[service]) return datagrams_[service]->receive(now);
    streams_[service]->handle(data & 0xffffffff, now);
  }

  // Lets every service send. How many milliseconds to wait then, or -1 when all is done.
  int send() {
    const Clock::time_point now = Clock::now();
    Clock::time_point next = Clock::time_point::max();
    gate_.drop(now);
    const auto sendOne = [&](const auto& probe) {
      if (!probe || probe->isDone()) return;
      const bool hasMore = probe->send(now);
      if (!probe->isDone()) next = std::min(next, hasMore ? now : probe->nextTime());
    };
    std::for_each(datagrams_.begin(), datagrams_.end(), sendOne);
    std::for_each(streams_.begin(), streams_.end(), sendOne);
    if (isDone()) return -1;
    next = std::min(next, gate_.nextTime());
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now).count();
    return std::max(static_cast<int>(wait), 0);
  }

  bool isDone() const {
    const auto isProbeDone = [](const auto& probe) { return !probe || probe->isDone(); };
    return std::all_of(datagrams_.begin(), datagrams_.end(), isProbeDone) &&
           std::all_of(streams_.begin(), streams_.end(), isProbeDone);
  }

  int epoll_;
  Limit::HostGate gate_;
  std::array<std::unique_ptr<Limit::DatagramProbe>, Limit::SERVICE_NAMES.size()> datagrams_;
  std::array<std::unique_ptr<Limit::StreamProbe>, Limit::SERVICE_NAMES.size()> streams_;
};

void allowManyFiles() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int main(int count, char** words) try {
  if (count < 2 || count > 3) {
    std::cerr << "usage: limit [HOSTS] FILE\n";
    return 2;
  }
  std::ifstream stream(words[count - 1]);
  if (!stream) throw std::runtime_error("cannot read the input");
  const Limit::Input input = Limit::readInput(stream);
  allowManyFiles();
  Loop loop(input, count == 3 ? std::stoul(words[1]) : HOSTS_AT_ONCE);
  loop.run();
  const Answers answers = loop.answers();
  for (std::size_t i = 0; i < answers.size(); ++i) std::cout << Limit::SERVICE_NAMES[i] << ' ' << answers[i] << '\n';
  return 0;
} catch (const std::exception& error) {
  std::cerr << "limit: " << error.what() << '\n';
  return 1;
}
