// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "agent/ServiceAnswers.h"
#include "agent/Vendors.h"
#include "discovery/repository/Repository.h"
#include "program/TextTable.h"

// The nodes as a table for a person: a line each in ascending address order under a heading; a node without services
// has said why. Nothing that the network said of itself can command a terminal.
std::vector<String> layOutNodes(const KX::NMS::Discovery::Repository& repository, const Vendors& vendors,
                                const ServiceAnswers& answers, const TableStyle& style);

// How many there are, as "2 nodes with 3 services".
String summarise(const KX::NMS::Discovery::Repository& repository);
