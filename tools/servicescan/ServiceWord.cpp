// SPDX-License-Identifier: Apache-2.0
#include "tools/servicescan/ServiceWord.h"

#include <array>
#include <optional>

#include "platform/text/Decimal.h"
#include "platform/text/Utf8.h"

namespace ServiceScan {
namespace {

struct Known {
  String name;
  std::uint16_t port;
};

// By their numbers. A name that many probes share needs no memory of its own.
const std::array<Known, SERVICES>& known() {
  static const std::array<Known, SERVICES> KNOWN = {
      {{"ping"_s, 0}, {"http"_s, 80}, {"https"_s, 443}, {"snmp"_s, 161}, {"sip"_s, 5060}}};
  return KNOWN;
}

std::optional<Service> serviceOf(std::string_view name) {
  for (std::size_t index = 0; index < SERVICES; ++index) {
    if (name == known()[index].name) return static_cast<Service>(index);
  }
  return std::nullopt;
}

const Known& knownAs(Service service) { return known()[static_cast<std::size_t>(service)]; }

}  // namespace

Probe readService(std::string_view word) {
  const std::size_t colon = word.rfind(':');
  const bool hasPort = colon != std::string_view::npos;
  const std::string_view name = word.substr(0, colon);
  const std::optional<Service> service = serviceOf(name);
  const auto port = KX::readDecimal<std::uint16_t>(hasPort ? word.substr(colon + 1) : "");
  Probe probe{};
  probe.name = service ? knownAs(*service).name : toValidUtf8(name);
  probe.service = service.value_or(Service::PING);
  probe.port = service && !hasPort ? knownAs(*service).port : port.value_or(0);
  if (!service) {
    probe.reason = "Unknown service"_s;
  } else if (probe.port == 0 && probe.service != Service::PING) {
    probe.reason = "Invalid port"_s;
  }
  if (!probe.reason.isEmpty()) probe.state = Probe::State::ENDED;
  return probe;
}

bool isService(std::string_view word) { return serviceOf(word.substr(0, word.find(':'))).has_value(); }

std::vector<Probe> usualServices() {
  std::vector<Probe> probes;
  for (const Known& service : known()) probes.push_back(readService(service.name));
  return probes;
}

}  // namespace ServiceScan
