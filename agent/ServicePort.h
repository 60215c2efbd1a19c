// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

#include "platform/base/KXVector.h"
#include "platform/base/String.h"

// A service and a port to look for it on.
struct ServicePort {
  const char* name;
  std::uint16_t port;
};

// The services that scans know, each with its usual port.
inline constexpr std::array<ServicePort, 5> KNOWN_SERVICES = {
    {{"sip", 5060}, {"http", 80}, {"https", 443}, {"snmp", 161}, {"ping", 0}}};

// Adds what "NAME:PORT" says, once. False when the name is not known or the port is none.
bool addServicePort(const String& text, KXVector<ServicePort>& services);
