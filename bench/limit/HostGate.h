// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <libmnl/libmnl.h>

#include <deque>
#include <vector>

#include "bench/limit/Clock.h"
#include "bench/limit/Input.h"

namespace Limit {

// Lets so many hosts through at once as the kernel's neighbour table holds, in their order. Where there are more hosts,
// it takes those whose services are all settled out of the table, since the kernel keeps them for half a minute.
class HostGate {
 public:
  HostGate(const std::vector<Host>& hosts, std::size_t limit);
  ~HostGate();
  HostGate(const HostGate&) = delete;
  HostGate& operator=(const HostGate&) = delete;

  bool admits(std::uint32_t host) const { return host < admitted_; }
  // One service of that host has answered or will not.
  void settle(std::uint32_t host, Clock::time_point now);
  void drop(Clock::time_point now);
  // When there is something to drop.
  Clock::time_point nextTime() const;

 private:
  struct Ended {
    Clock::time_point at;
    in_addr address;
  };

  void writeDeletion(char* bytes, in_addr address) const;

  std::vector<Host> hosts_;
  std::size_t admitted_;
  std::deque<Ended> ended_;
  mnl_socket* socket_ = nullptr;
  unsigned interface_ = 0;
};

}  // namespace Limit
