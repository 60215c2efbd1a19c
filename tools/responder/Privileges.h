// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/XCode.h"

namespace DeviceDiscovery::Responder {

// Makes the state directory, and of a process of root one of the given user that can never be root's again; the
// directory is that user's then. A process that is not root's keeps its user and loses its capabilities.
[[nodiscard]] XCode dropPrivileges(const String& user, const String& stateDirectory);

}  // namespace DeviceDiscovery::Responder
