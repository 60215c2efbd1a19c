// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

// What a service scan that finds what is known already costs, in nanoseconds for all nodes of a list.

// The library's update, which tells that the server would see no change.
double updateServices(std::size_t nodes);
// What of that is to find the node, and to touch it.
double lookUp(std::size_t nodes);
// What the straightforward way to tell that takes alone: the texts of each node before and after, compared.
double compareTexts(std::size_t nodes);
