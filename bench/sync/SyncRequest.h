// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/String.h"

// The text of a syncNodes request as a server sends it: nodes of three services each, with the usual ports for most.
String syncRequest(std::size_t nodes);
