// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/SnmpProber.h"

#include "tools/servicescan/SnmpMessage.h"

namespace ServiceScan {
namespace {

std::uint32_t requestIdOf(const Probe& probe) { return static_cast<std::uint32_t>(probe.cookie) & 0x7fffffffU; }

}  // namespace

SnmpProber::SnmpProber(KXEventLoop& loop, Outcome& outcome, const Targets& targets, const String& community)
    : DatagramProber(loop, outcome, targets, Service::SNMP), community_(community) {
  use(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

std::size_t SnmpProber::compose(ProbeIndex probe, std::span<char, MAX_QUESTION_BYTES> question) {
  return writeSnmpGet(community_, requestIdOf(targets_.probes[probe]), question);
}

void SnmpProber::read(const Answer& answer) {
  SnmpResponse response{};
  if (!readSnmpResponse(answer.datagram, response)) return;
  for (const ProbeIndex probe : probesAt(answer.address)) {
    const bool isIts = requestIdOf(targets_.probes[probe]) == response.requestId && isExpected(probe, answer.address);
    if (isIts) outcome_.answered(probe, response.description, response.objectId);
  }
}

}  // namespace ServiceScan
