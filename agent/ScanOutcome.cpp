// SPDX-License-Identifier: Apache-2.0
#include "agent/ScanOutcome.h"

#include <algorithm>
#include <vector>

using KX::NMS::Discovery::Repository;
using KX::Property::Value;

namespace {

struct Failure {
  String what;
  String where;  // names of interfaces; empty for a job as a whole
  String reason;
};
using Failures = std::vector<Failure>;

bool hasStatus(const Value& value, const char* status) { return value["status"].stringView() == status; }

// One program that is missing fails on every interface: that is one entry.
void addScanFailure(const Value& scan, Failures& failures) {
  const String what = String::format("%s scan", scan["type"].toString().c_str());
  const String where = scan["name"].toString();
  const String reason = scan["reason"].toString();
  const auto same = std::find_if(failures.begin(), failures.end(), [&](const Failure& failure) {
    return failure.what == what && failure.reason == reason && !failure.where.isEmpty();
  });
  if (same == failures.end()) {
    failures.push_back({what, where, reason});
  } else {
    same->where.concatf(", %s", where.c_str());
  }
}

void addJobFailure(const char* what, const Value& job, bool hadWork, Failures& failures) {
  if (hasStatus(job, "failed")) {
    failures.push_back({what, String(), job["reason"].toString()});
  } else if (hadWork && hasStatus(job, "idle")) {
    failures.push_back({what, String(), "it could not be prepared (--verbosity 1 shows why)"_s});
  }
}

String describe(const char* introduction, const Failures& failures) {
  String text(introduction);
  const char* separator = ": ";
  for (const Failure& failure : failures) {
    text.concatf("%s%s%s%s: %s", separator, failure.what.c_str(), failure.where.isEmpty() ? "" : " on ",
                 failure.where.c_str(), failure.reason.c_str());
    separator = "; ";
  }
  return text;
}

}  // namespace

ScanOutcome judgeScan(const Value& sequence, const Repository& repository) {
  const Value jobs = sequence["jobs"];
  const Value scans = jobs[0]["scans"];
  if (scans.isEmpty()) return {"no interface was selected"_s, String()};
  Failures failures;
  bool succeeded = false;
  for (const Value& scan : scans.elements()) {
    succeeded = succeeded || hasStatus(scan, "successful");
    if (hasStatus(scan, "failed")) addScanFailure(scan, failures);
  }
  if (!succeeded) return {describe("no scan succeeded", failures), String()};
  addJobFailure("service scan (servicescan)", jobs[1], !repository.getNodes().isEmpty(), failures);
  addJobFailure("status scan (servicescan)", jobs[2], !repository.getNodesWithPendingStatusScan().isEmpty(), failures);
  if (failures.empty()) return {};
  return {String(), describe("some scans failed", failures)};
}
