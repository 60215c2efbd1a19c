// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "discovery/repository/Repository.h"
#include "platform/property/Value.h"

// Where a job stands: it is at step number of total, a step being one scan. A job that does not name its scans counts
// as one, and so does a part of a sequence whose turn has not come.
struct ScanStep {
  std::size_t number = 0;  // 0: no step is running
  std::size_t total = 0;
  String text;  // e.g. "ARP on lan0"
};

// Reads the status value of a job that runs on the repository.
ScanStep findRunningStep(const KX::Property::Value& job, const KX::NMS::Discovery::Repository& repository);
