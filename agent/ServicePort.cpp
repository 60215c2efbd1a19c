// SPDX-License-Identifier: Apache-2.0
#include "agent/ServicePort.h"

#include <algorithm>
#include <charconv>

bool addServicePort(const String& text, KXVector<ServicePort>& services) {
  const std::string_view name = text.view().substr(0, text.view().find(':'));
  const auto* const known = std::find_if(KNOWN_SERVICES.begin(), KNOWN_SERVICES.end(),
                                         [name](const ServicePort& service) { return service.name == name; });
  if (known == KNOWN_SERVICES.end() || name.size() == text.length()) return false;
  ServicePort service = *known;
  const char* const end = text.c_str() + text.length();
  const auto [stop, error] = std::from_chars(text.c_str() + name.size() + 1, end, service.port);
  if (error != std::errc() || stop != end) return false;
  const bool given = std::any_of(services.begin(), services.end(), [service](const ServicePort& other) {
    return other.name == service.name && other.port == service.port;
  });
  if (!given) services.add(service);
  return true;
}
