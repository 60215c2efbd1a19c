// SPDX-License-Identifier: Apache-2.0
#include "tools/client/DiscoverySocket.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace DeviceDiscovery::Client {
namespace {

// A short datagram takes up several times its length there.
constexpr int RECEIVE_BUFFER_BYTES = 4 << 20;

template <class T>
bool setOption(int socket, int level, int name, const T& value) {
  return setsockopt(socket, level, name, &value, sizeof(value)) == 0;
}

}  // namespace

XCode DiscoverySocket::open(const String& interface) {
  socket_ = KX::Shell::Descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  XCode result = socket_ ? findInterface(interface) : XCode::fromErrno(errno);
  return result.isSuccess() ? setOptions(interface) : result;
}

XCode DiscoverySocket::findInterface(const String& name) {
  ifreq request{};
  if (name.isEmpty() || name.length() >= sizeof(request.ifr_name)) return XCode::fromErrno(ENODEV);
  std::memcpy(request.ifr_name, name.c_str(), name.length());
  if (ioctl(socket_.get(), SIOCGIFINDEX, &request) != 0) return XCode::fromErrno(errno);
  interfaceIndex_ = request.ifr_ifindex;
  if (ioctl(socket_.get(), SIOCGIFADDR, &request) == 0) return XCode();
  return errno == EADDRNOTAVAIL ? XCode::error("The interface has no IPv4 address"_s) : XCode::fromErrno(errno);
}

XCode DiscoverySocket::setOptions(const String& interface) const {
  const int socket = socket_.get();
  const ip_mreqn outgoing{{}, {}, interfaceIndex_};
  // One hop: the question is for this LAN. This machine is none of the devices to find on it.
  if (setsockopt(socket, SOL_SOCKET, SO_BINDTODEVICE, interface.c_str(),
                 static_cast<socklen_t>(interface.length() + 1)) != 0 ||
      !setOption(socket, IPPROTO_IP, IP_MULTICAST_IF, outgoing) ||
      !setOption(socket, IPPROTO_IP, IP_MULTICAST_TTL, 1) || !setOption(socket, IPPROTO_IP, IP_MULTICAST_LOOP, 0)) {
    return XCode::fromErrno(errno);
  }
  if (!setOption(socket, SOL_SOCKET, SO_RCVBUFFORCE, RECEIVE_BUFFER_BYTES)) {
    static_cast<void>(setOption(socket, SOL_SOCKET, SO_RCVBUF, RECEIVE_BUFFER_BYTES));
  }
  return XCode();
}

XCode DiscoverySocket::send(std::uint32_t address, std::uint16_t port, std::string_view bytes) const {
  sockaddr_in to{};
  to.sin_family = AF_INET;
  to.sin_addr.s_addr = htonl(address);
  to.sin_port = htons(port);
  const ssize_t sent = sendto(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT,
                              reinterpret_cast<const sockaddr*>(&to), sizeof(to));
  return sent < 0 ? XCode::fromErrno(errno) : XCode();
}

bool DiscoverySocket::receive(Datagram& datagram, Deadline deadline) {
  while (std::chrono::steady_clock::now() < deadline) {
    sockaddr_in from{};
    socklen_t size = sizeof(from);
    const ssize_t length = recvfrom(socket_.get(), buffer_.data(), buffer_.size(), MSG_DONTWAIT,
                                    reinterpret_cast<sockaddr*>(&from), &size);
    if (length >= 0 && static_cast<std::size_t>(length) <= MAX_MESSAGE_BYTES) {
      datagram = {
          ntohl(from.sin_addr.s_addr), ntohs(from.sin_port), {buffer_.data(), static_cast<std::size_t>(length)}};
      return true;
    }
    if (length < 0 && errno == EAGAIN && !waitUntil(deadline)) return false;
  }
  return false;
}

bool DiscoverySocket::waitUntil(Deadline deadline) const {
  using namespace std::chrono;
  const auto rest = ceil<milliseconds>(deadline - steady_clock::now()).count();
  pollfd socket{socket_.get(), POLLIN, 0};
  return rest > 0 && poll(&socket, 1, static_cast<int>(rest)) > 0;
}

}  // namespace DeviceDiscovery::Client
