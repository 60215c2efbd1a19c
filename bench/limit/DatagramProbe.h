// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "bench/limit/Clock.h"
#include "bench/limit/DatagramFormat.h"
#include "bench/limit/HostGate.h"

namespace Limit {

// Asks all targets of one service over one unconnected socket, in batches: each target up to two times, a second apart,
// as the gate lets its host through.
class DatagramProbe {
 public:
  DatagramProbe(Service service, const std::vector<Target>& targets, HostGate& gate);
  ~DatagramProbe();
  DatagramProbe(const DatagramProbe&) = delete;
  DatagramProbe& operator=(const DatagramProbe&) = delete;

  int socket() const { return socket_; }
  // Sends at most one batch of what is due, and gives up who had his tries. True when there is more to send at once.
  bool send(Clock::time_point now);
  // Takes everything that came in.
  void receive(Clock::time_point now);
  bool isDone() const { return first_ == targets_.size() && waiting_ == 0; }
  std::size_t answers() const { return answers_; }
  // When there is something to do again though nothing comes in.
  Clock::time_point nextTime() const;

 private:
  static constexpr unsigned BATCH = 64;

  struct State {
    Clock::time_point asked;  // the last time
    bool isSettled = false;
  };
  struct Batch;

  bool hasFirstTries() const { return first_ < targets_.size() && gate_.admits(targets_[first_].host); }
  unsigned chooseSecondTries(Clock::time_point now, Batch& batch);
  unsigned chooseFirstTries(Batch& batch);
  void giveUp(Clock::time_point now);
  unsigned sendBatch(Batch& batch, unsigned count, Clock::time_point now);
  void receiveAnswers(Clock::time_point now);
  void receiveErrors(Clock::time_point now);
  void settle(std::size_t index, Clock::time_point now);

  std::unique_ptr<DatagramFormat> format_;
  const std::vector<Target>& targets_;
  std::vector<State> states_;
  HostGate& gate_;
  int socket_;
  // How many targets, in their order, have had their first try, their second, their end. Each step is due a second
  // after the one before, so that three counters do for timers.
  std::size_t first_ = 0;
  std::size_t second_ = 0;
  std::size_t givenUp_ = 0;
  std::size_t waiting_ = 0;
  std::size_t answers_ = 0;
  Clock::time_point pausedUntil_{};
};

}  // namespace Limit
