// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "agent/ScanFailures.h"
#include "platform/base/String.h"

// Where a scan by hand stands.
struct ScanStage {
  std::size_t number = 0;  // of total; 0: nothing runs
  std::size_t total = 0;
  String text;                   // e.g. "ARP on lan0"
  unsigned expectedSeconds = 0;  // 0: nobody knows
};

// One way to find nodes and enter them into a repository. It is looked after several times a second, and goes on by
// itself in between.
class Search {
 public:
  Search() = default;
  Search(const Search&) = delete;
  Search& operator=(const Search&) = delete;
  virtual ~Search() = default;

  virtual void start() = 0;
  virtual void cancel() = 0;
  // Enters what has been found meanwhile.
  virtual void poll() = 0;
  // Whether many a node may still be found; what comes later is for few.
  virtual bool isBusy() const = 0;
  virtual bool hasEnded() const = 0;
  // Without the steps that come after it.
  virtual ScanStage stage() const = 0;
  // What failed; false when nothing succeeded.
  virtual bool judge(ScanFailures& failures) const = 0;
};
