// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "platform/base/String.h"
#include "platform/property/Value.h"

// What failed in a scan by hand, for one line.
class ScanFailures {
 public:
  // The same failure on several interfaces is one entry. Where is empty for what is about no interface.
  void add(const String& what, const String& where, const String& reason);
  // Of a node scan, as its job describes it; false when it failed or was not run.
  bool addScan(const KX::Property::Value& scan);

  void add(const ScanFailures& more) {
    failures_.insert(failures_.end(), more.failures_.begin(), more.failures_.end());
  }

  bool isEmpty() const { return failures_.empty(); }
  // "INTRODUCTION: what on where: reason; …"
  String describe(const char* introduction) const;

 private:
  struct Failure {
    String what;
    String where;  // names of interfaces
    String reason;
  };
  std::vector<Failure> failures_;
};
