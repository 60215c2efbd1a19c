// SPDX-License-Identifier: Apache-2.0
#include "agent/ServicePort.h"

#include <algorithm>
#include <optional>

#include "platform/text/Decimal.h"

bool addServicePort(const String& text, KXVector<ServicePort>& services) {
  const std::string_view name = text.view().substr(0, text.view().find(':'));
  const auto* const known = std::find_if(KNOWN_SERVICES.begin(), KNOWN_SERVICES.end(),
                                         [name](const ServicePort& service) { return service.name == name; });
  if (known == KNOWN_SERVICES.end() || name.size() == text.length()) return false;
  const std::optional<std::uint16_t> port = KX::readDecimal<std::uint16_t>(text.view().substr(name.size() + 1));
  if (!port) return false;
  const ServicePort service{known->name, *port};
  const bool given = std::any_of(services.begin(), services.end(), [service](const ServicePort& other) {
    return other.name == service.name && other.port == service.port;
  });
  if (!given) services.add(service);
  return true;
}
