// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "bench/sync/SyncProgram.h"

// Measures the library's sync beside the limit's, where that is there, and the peers', and prints what a node takes
// with each and how many times the limit's time that is. Each takes turns with the limit, so that both have the
// machine's good and bad times: a figure is the median of the turns, a ratio that of the ratios of the turns. A warm
// heap keeps what it got; otherwise large blocks are new to the process each time.
void printSync(const std::vector<SyncPeer>& peers, bool onWarmHeap);
