// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/SipProber.h"

#include "tools/servicescan/SipMessage.h"

namespace ServiceScan {
namespace {

constexpr unsigned FIRST_FINAL_STATUS = 200;

sockaddr_in boundAddress(int socket) {
  sockaddr_in address{};
  socklen_t length = sizeof(address);
  static_cast<void>(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length));
  return address;
}

}  // namespace

SipProber::SipProber(KXEventLoop& loop, Outcome& outcome, const Targets& targets)
    : DatagramProber(loop, outcome, targets, Service::SIP), route_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  const sockaddr_in any{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {}, .sin_zero = {}};
  if (socket >= 0) {
    // The request names the port that its answer comes to.
    static_cast<void>(bind(socket, reinterpret_cast<const sockaddr*>(&any), sizeof(any)));
    port_ = ntohs(boundAddress(socket).sin_port);
  }
  use(socket);
}

std::uint32_t SipProber::localAddressTowards(std::uint32_t address) {
  const sockaddr_in remote{
      .sin_family = AF_INET, .sin_port = htons(port_), .sin_addr = {htonl(address)}, .sin_zero = {}};
  if (connect(route_.get(), reinterpret_cast<const sockaddr*>(&remote), sizeof(remote)) != 0) return 0;
  return ntohl(boundAddress(route_.get()).sin_addr.s_addr);
}

std::size_t SipProber::compose(ProbeIndex probe, std::span<char, MAX_QUESTION_BYTES> question) {
  const Probe& asked = targets_.probes[probe];
  const std::uint32_t remote = targets_.addressOf(asked);
  return writeSipOptions({asked.cookie, probe, localAddressTowards(remote), remote, port_, asked.port}, question);
}

void SipProber::read(const Answer& answer) {
  SipResponse response{};
  if (!readSipResponse(answer.datagram, response) || response.status < FIRST_FINAL_STATUS) return;
  if (!isExpected(response.number, answer.address)) return;
  if (response.cookie == targets_.probes[response.number].cookie) {
    outcome_.answered(response.number, response.model, String());
  }
}

}  // namespace ServiceScan
