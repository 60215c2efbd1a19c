// SPDX-License-Identifier: Apache-2.0
#include "agent/ScanFailures.h"

#include <algorithm>

void ScanFailures::add(const String& what, const String& where, const String& reason) {
  const auto same = std::find_if(failures_.begin(), failures_.end(), [&](const Failure& failure) {
    return failure.what == what && failure.reason == reason && !failure.where.isEmpty();
  });
  if (same == failures_.end()) {
    failures_.push_back({what, where, reason});
  } else {
    same->where.concatf(", %s", where.c_str());
  }
}

bool ScanFailures::addScan(const KX::Property::Value& scan) {
  const std::string_view status = scan["status"].stringView();
  if (status == "failed") {
    add(String::format("%s scan", scan["type"].toString().c_str()), scan["name"].toString(), scan["reason"].toString());
  }
  return status == "successful";
}

String ScanFailures::describe(const char* introduction) const {
  String text(introduction);
  const char* separator = ": ";
  for (const Failure& failure : failures_) {
    text.concatf("%s%s%s%s: %s", separator, failure.what.c_str(), failure.where.isEmpty() ? "" : " on ",
                 failure.where.c_str(), failure.reason.c_str());
    separator = "; ";
  }
  return text;
}
