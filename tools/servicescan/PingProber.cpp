// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/PingProber.h"

#include <linux/icmp.h>
#include <netinet/ip.h>

#include <cstring>

namespace ServiceScan {
namespace {

struct Echo {
  icmphdr header;
  std::uint32_t probe;
  std::uint32_t unused;
  std::uint64_t cookie;
};

std::uint16_t checksum(const Echo& echo) {
  std::uint16_t words[sizeof(Echo) / sizeof(std::uint16_t)];
  std::memcpy(words, &echo, sizeof(echo));
  std::uint32_t sum = 0;
  for (const std::uint16_t word : words) sum += word;
  while (sum > 0xffffU) sum = (sum & 0xffffU) + (sum >> 16U);
  return static_cast<std::uint16_t>(~sum);
}

// A raw socket is handed the IP header, too.
std::string_view withoutIpHeader(std::string_view datagram) {
  if (datagram.size() < sizeof(iphdr)) return {};
  const std::size_t bytes = (static_cast<unsigned char>(datagram[0]) & 0xfU) * 4U;
  return bytes < sizeof(iphdr) || bytes > datagram.size() ? std::string_view() : datagram.substr(bytes);
}

int openRaw() {
  const int socket = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_ICMP);
  const icmp_filter filter{~(1U << ICMP_ECHOREPLY)};
  if (socket >= 0) static_cast<void>(setsockopt(socket, SOL_RAW, ICMP_FILTER, &filter, sizeof(filter)));
  return socket;
}

}  // namespace

PingProber::PingProber(KXEventLoop& loop, Outcome& outcome, const Targets& targets)
    : DatagramProber(loop, outcome, targets, Service::PING) {
  int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_ICMP);
  isRaw_ = socket < 0;
  use(isRaw_ ? openRaw() : socket);
}

std::size_t PingProber::compose(ProbeIndex probe, std::span<char, MAX_QUESTION_BYTES> question) {
  const std::uint64_t cookie = targets_.probes[probe].cookie;
  Echo echo{};
  echo.header.type = ICMP_ECHO;
  echo.header.un.echo.id = static_cast<std::uint16_t>(cookie);
  echo.header.un.echo.sequence = htons(static_cast<std::uint16_t>(probe));
  echo.probe = probe;
  echo.cookie = cookie;
  echo.header.checksum = checksum(echo);
  std::memcpy(question.data(), &echo, sizeof(echo));
  return sizeof(echo);
}

void PingProber::read(const Answer& answer) {
  const std::string_view message = isRaw_ ? withoutIpHeader(answer.datagram) : answer.datagram;
  Echo echo;
  if (message.size() < sizeof(echo)) return;
  std::memcpy(&echo, message.data(), sizeof(echo));
  if (echo.header.type != ICMP_ECHOREPLY || !isExpected(echo.probe, answer.address)) return;
  if (echo.cookie == targets_.probes[echo.probe].cookie) outcome_.answered(echo.probe, String(), String());
}

}  // namespace ServiceScan
