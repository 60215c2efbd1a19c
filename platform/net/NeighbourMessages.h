// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/net/NeighbourTable.h"

struct nlmsghdr;

// The neighbour that one of the kernel's messages is about, whether the message lists it or tells of a change.
Neighbour readNeighbourMessage(const nlmsghdr* message);
