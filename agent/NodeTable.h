// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "discovery/repository/Repository.h"

// Prints the nodes on stdout for a person: a line each in ascending address order under a heading, columns that no node
// fills left out, and the number of nodes at the end.
void printNodeTable(const KX::NMS::Discovery::Repository& repository);
