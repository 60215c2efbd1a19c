// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <netinet/in.h>
#include <openssl/ssl.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "bench/limit/Clock.h"
#include "bench/limit/HostGate.h"
#include "bench/limit/Input.h"

namespace Limit {

// Gets "/" from all targets of HTTP or HTTPS and reads the whole status line, each over a connection of its own, once
// and for as long as all tries of others take, as the gate lets its host through.
class StreamProbe {
 public:
  // Events of these connections come with data of TAG | index of the target.
  StreamProbe(Service service, const std::vector<Target>& targets, HostGate& gate, int epoll, std::uint64_t tag);
  ~StreamProbe();
  StreamProbe(const StreamProbe&) = delete;
  StreamProbe& operator=(const StreamProbe&) = delete;

  // Opens a few connections, and closes what had its time. True when there is more to open at once.
  bool send(Clock::time_point now);
  void handle(std::size_t index, Clock::time_point now);
  bool isDone() const { return first_ == targets_.size() && waiting_ == 0; }
  std::size_t answers() const { return answers_; }
  // When there is something to do again though nothing happens.
  Clock::time_point nextTime() const;

 private:
  static constexpr unsigned BATCH = 16;

  struct Connection {
    int socket = -1;
    SSL* session = nullptr;
    Clock::time_point opened{};
    bool isAsked = false;
    unsigned length = 0;
    std::array<char, 128> line;
  };

  void open(std::size_t index, Clock::time_point now);
  void close(std::size_t index, Clock::time_point now);
  bool hasFirst() const { return first_ < targets_.size() && gate_.admits(targets_[first_].host); }
  bool ask(Connection& connection, const sockaddr_in& target);
  bool isRefused(Connection& connection, int result) const;
  int read(Connection& connection, char* bytes, std::size_t size);
  bool hasAnswered(Connection& connection, const char* bytes, std::size_t length);
  std::string request(const sockaddr_in& target) const;

  const std::vector<Target>& targets_;
  std::vector<std::unique_ptr<Connection>> connections_;
  HostGate& gate_;
  int epoll_;
  std::uint64_t tag_;
  SSL_CTX* context_ = nullptr;
  // How many targets, in their order, have been asked, and have come to an end.
  std::size_t first_ = 0;
  std::size_t ended_ = 0;
  std::size_t waiting_ = 0;
  std::size_t answers_ = 0;
};

}  // namespace Limit
