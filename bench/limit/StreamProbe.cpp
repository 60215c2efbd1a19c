// SPDX-License-Identifier: Apache-2.0
#include "bench/limit/StreamProbe.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace Limit {

namespace {

SSL_CTX* createContext() {
  SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
  if (context == nullptr) throw std::runtime_error("no TLS");
  SSL_CTX_set_verify(context, SSL_VERIFY_NONE, nullptr);
  SSL_CTX_set_session_cache_mode(context, SSL_SESS_CACHE_OFF);
  SSL_CTX_set_read_ahead(context, 1);
  return context;
}

}  // namespace

StreamProbe::StreamProbe(Service service, const std::vector<Target>& targets, HostGate& gate, int epoll,
                         std::uint64_t tag)
    : targets_(targets), connections_(targets_.size()), gate_(gate), epoll_(epoll), tag_(tag) {
  if (service == HTTPS && !targets_.empty()) context_ = createContext();
}

StreamProbe::~StreamProbe() { SSL_CTX_free(context_); }

bool StreamProbe::send(Clock::time_point now) {
  for (; ended_ < first_; ++ended_) {
    const auto& connection = connections_[ended_];
    if (connection && connection->opened + CONNECTION_TIMEOUT > now) break;
    if (connection) close(ended_, now);
  }
  for (unsigned i = 0; i < BATCH && hasFirst(); ++i) open(first_++, now);
  return hasFirst();
}

void StreamProbe::open(std::size_t index, Clock::time_point now) {
  auto& connection = connections_[index] = std::make_unique<Connection>();
  ++waiting_;
  connection->opened = now;
  connection->socket = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (connection->socket < 0) throw std::runtime_error("cannot open a socket");
  const auto* const address = reinterpret_cast<const sockaddr*>(&targets_[index].address);
  if (connect(connection->socket, address, sizeof(sockaddr_in)) != 0 && errno != EINPROGRESS) return close(index, now);
  epoll_event event{};
  event.events = EPOLLIN | EPOLLOUT | EPOLLET;
  event.data.u64 = tag_ | index;
  epoll_ctl(epoll_, EPOLL_CTL_ADD, connection->socket, &event);
}

void StreamProbe::close(std::size_t index, Clock::time_point now) {
  SSL_free(connections_[index]->session);
  ::close(connections_[index]->socket);
  connections_[index].reset();
  --waiting_;
  gate_.settle(targets_[index].host, now);
}

void StreamProbe::handle(std::size_t index, Clock::time_point now) {
  if (!connections_[index]) return;
  Connection& connection = *connections_[index];
  if (!connection.isAsked && !ask(connection, targets_[index].address)) return close(index, now);
  if (!connection.isAsked) return;
  std::array<char, 4096> bytes;
  int length = 0;
  while ((length = read(connection, bytes.data(), bytes.size())) > 0) {
    if (hasAnswered(connection, bytes.data(), static_cast<std::size_t>(length))) return close(index, now);
  }
  if (isRefused(connection, length)) close(index, now);
}

// Sends the request as soon as that is possible. False when there is nobody to ask.
bool StreamProbe::ask(Connection& connection, const sockaddr_in& target) {
  const std::string text = request(target);
  if (context_ == nullptr) {
    const ssize_t sent = ::send(connection.socket, text.data(), text.size(), MSG_NOSIGNAL);
    connection.isAsked = sent > 0;
    return sent > 0 || errno == EAGAIN;
  }
  if (connection.session == nullptr) {
    connection.session = SSL_new(context_);
    SSL_set_fd(connection.session, connection.socket);
    SSL_set_connect_state(connection.session);
    SSL_set_quiet_shutdown(connection.session, 1);
  }
  // Shakes hands first.
  const int sent = SSL_write(connection.session, text.data(), static_cast<int>(text.size()));
  connection.isAsked = sent > 0;
  return sent > 0 || !isRefused(connection, sent);
}

// Whether an operation of that result failed, other than because it would have to wait.
bool StreamProbe::isRefused(Connection& connection, int result) const {
  if (context_ == nullptr) return result == 0 || errno != EAGAIN;
  const int error = SSL_get_error(connection.session, result);
  ERR_clear_error();
  return error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE;
}

int StreamProbe::read(Connection& connection, char* bytes, std::size_t size) {
  if (context_ != nullptr) return SSL_read(connection.session, bytes, static_cast<int>(size));
  return static_cast<int>(recv(connection.socket, bytes, size, 0));
}

// True at the end of the status line, or when it can be none.
bool StreamProbe::hasAnswered(Connection& connection, const char* bytes, std::size_t length) {
  const std::size_t taken = std::min(length, connection.line.size() - connection.length);
  std::memcpy(connection.line.data() + connection.length, bytes, taken);
  connection.length += static_cast<unsigned>(taken);
  const std::string_view line(connection.line.data(), connection.length);
  const bool isStatus = line.starts_with("HTTP/1.") && line.find('\n') != std::string_view::npos;
  answers_ += isStatus;
  return isStatus || line.size() == connection.line.size();
}

std::string StreamProbe::request(const sockaddr_in& target) const {
  std::array<char, INET_ADDRSTRLEN> address{};
  inet_ntop(AF_INET, &target.sin_addr, address.data(), INET_ADDRSTRLEN);
  return std::string("GET / HTTP/1.1\r\nHost: ") + address.data() +
         "\r\nUser-Agent: limit\r\nAccept: */*\r\nConnection: close\r\n\r\n";
}

Clock::time_point StreamProbe::nextTime() const {
  for (std::size_t i = ended_; i < first_; ++i) {
    if (connections_[i]) return connections_[i]->opened + CONNECTION_TIMEOUT;
  }
  return Clock::time_point::max();
}

}  // namespace Limit
