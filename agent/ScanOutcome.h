// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/base/String.h"

// What a scan by hand has come to. A scan that found nothing is no failure; one that could not look is.
struct ScanOutcome {
  String failure;  // why there is nothing to show; empty when a scan succeeded
  String warning;  // what failed beside it; empty when nothing did
};
