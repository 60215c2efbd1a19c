// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "program/TextTable.h"
#include "agent/Vendors.h"
#include "discovery/repository/Repository.h"

// The nodes as a table for a person: a line each in ascending address order under a heading, and the number of nodes at
// the end. Nothing that the network said of itself can command a terminal.
std::vector<String> layOutNodes(const KX::NMS::Discovery::Repository& repository, const Vendors& vendors,
                                const TableStyle& style);
