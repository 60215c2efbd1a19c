// SPDX-License-Identifier: Apache-2.0
#include "sweep/KernelLan.h"

#include <arpa/inet.h>
#include <linux/errqueue.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace HostSweep {
namespace {

constexpr std::uint16_t DISCARD_PORT = 9;
constexpr std::size_t MAX_SOCKETS = 64;
// A refusal of an earlier datagram is reported by a later one, which then has not been sent.
constexpr int ATTEMPTS = 8;
constexpr int REFUSALS_A_TURN = 256;

bool isFull(int error) { return error == EAGAIN || error == ENOBUFS || error == ENOMEM; }

// 0, or the errno.
int send(int socket, std::uint32_t address) {
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_port = htons(DISCARD_PORT);
  to.sin_addr.s_addr = htonl(address);
  int error = 0;
  for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
    if (sendto(socket, "", 0, MSG_DONTWAIT | MSG_DONTROUTE, reinterpret_cast<sockaddr*>(&to), sizeof(to)) == 0)
      return 0;
    error = errno;
    if (isFull(error)) break;
  }
  return error;
}

}  // namespace

XCode KernelLan::open() {
  XCode result = changes_.open();
  if (result.isSuccess()) result = addSocket();
  // Nobody is 0.0.0.0: the answer shows only whether the question is allowed.
  mayForget_ = table_.remove({0, network_.interface, std::nullopt, false, false});
  return result;
}

XCode KernelLan::addSocket() {
  KX::Shell::Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!socket) return XCode::fromErrno(errno);
  const int on = 1;
  const bool isBound = setsockopt(socket.get(), SOL_SOCKET, SO_BINDTODEVICE, network_.device.c_str(),
                                  static_cast<socklen_t>(network_.device.length())) == 0;
  if (!isBound) return XCode::fromErrno(errno);
  static_cast<void>(setsockopt(socket.get(), SOL_IP, IP_TTL, &on, sizeof(on)));
  static_cast<void>(setsockopt(socket.get(), SOL_IP, IP_RECVERR, &on, sizeof(on)));
  sockets_.push_back(std::move(socket));
  return XCode();
}

bool KernelLan::ask(std::uint32_t address) {
  int error = send(sockets_.back().get(), address);
  if (isFull(error) && sockets_.size() < MAX_SOCKETS && addSocket().isSuccess()) {
    error = send(sockets_.back().get(), address);
  }
  if (isFull(error)) {
    std::rotate(sockets_.begin(), sockets_.begin() + 1, sockets_.end());
    return false;
  }
  if (error != 0 && trouble_.isSuccess()) trouble_ = XCode::fromErrno(error);
  return true;
}

std::vector<Neighbour> KernelLan::known() {
  std::vector<Neighbour> neighbours = table_.neighbours();
  std::erase_if(neighbours, [this](const Neighbour& one) { return one.interface != network_.interface; });
  return neighbours;
}

Lan::Heard KernelLan::listen() {
  Heard heard;
  const bool isComplete = changes_.receive(heard.neighbours);
  std::erase_if(heard.neighbours, [this](const Neighbour& one) { return one.interface != network_.interface; });
  if (!isComplete) {
    const std::vector<Neighbour> all = known();
    heard.neighbours.insert(heard.neighbours.end(), all.begin(), all.end());
  }
  for (const KX::Shell::Descriptor& socket : sockets_) readRefusals(socket.get(), heard);
  return heard;
}

// Only what the asked host itself has sent shows that it is there.
void KernelLan::readRefusals(int socket, Heard& heard) {
  for (int turn = 0; turn < REFUSALS_A_TURN; ++turn) {
    alignas(cmsghdr) char control[256];
    sockaddr_in asked{};
    msghdr header{};
    header.msg_name = &asked;
    header.msg_namelen = sizeof(asked);
    header.msg_control = control;
    header.msg_controllen = sizeof(control);
    if (recvmsg(socket, &header, MSG_ERRQUEUE | MSG_DONTWAIT) < 0) return;
    for (cmsghdr* part = CMSG_FIRSTHDR(&header); part != nullptr; part = CMSG_NXTHDR(&header, part)) {
      if (part->cmsg_level != SOL_IP || part->cmsg_type != IP_RECVERR) continue;
      auto* const error = reinterpret_cast<sock_extended_err*>(CMSG_DATA(part));
      const auto* const sender = reinterpret_cast<const sockaddr_in*>(SO_EE_OFFENDER(error));
      if (error->ee_origin != SO_EE_ORIGIN_ICMP || sender->sin_addr.s_addr != asked.sin_addr.s_addr) continue;
      heard.alive.push_back(ntohl(asked.sin_addr.s_addr));
    }
  }
}

void KernelLan::forget(std::uint32_t address) {
  static_cast<void>(table_.remove({address, network_.interface, std::nullopt, false, false}));
}

}  // namespace HostSweep
