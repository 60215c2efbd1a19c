// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/SnmpProber.h"

#include "tools/servicescan/Cookie.h"
#include "tools/servicescan/SnmpMessage.h"

namespace ServiceScan {
namespace {

constexpr std::uint32_t REQUEST_ID_MASK = 0x7fffffffU;

}  // namespace

SnmpProber::SnmpProber(KXEventLoop& loop, Outcome& outcome, const Targets& targets, const String& community)
    : DatagramProber(loop, outcome, targets, Service::SNMP),
      community_(community),
      firstRequestId_(static_cast<std::uint32_t>(makeCookie())) {
  use(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

std::size_t SnmpProber::compose(ProbeIndex probe, std::span<char, MAX_QUESTION_BYTES> question) {
  return writeSnmpGet(community_, (firstRequestId_ + probe) & REQUEST_ID_MASK, question);
}

void SnmpProber::read(const Answer& answer) {
  SnmpResponse response{};
  if (!readSnmpResponse(answer.datagram, response)) return;
  const std::uint32_t number = (response.requestId - firstRequestId_) & REQUEST_ID_MASK;
  if (isExpected(number, answer.address)) outcome_.answered(number, response.description, response.objectId);
}

}  // namespace ServiceScan
