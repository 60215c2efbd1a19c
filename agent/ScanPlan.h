// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "agent/Options.h"
#include "platform/property/Value.h"

// The job description of one scan by hand: a sequence that finds the nodes, then their services, then their status.
KX::Property::Value describeScan(const Options& options);
