// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "discovery/common/Limits.h"
#include "discovery/common/Validation.h"
#include "platform/text/KXRegEx.h"

namespace KX::NMS::Discovery {
namespace {

using Property::Value;

// "id" names files and fills log prefixes, so it must stay within one path component and one word.
XCode checkId(const Value& description) {
  const String id = description["id"].toString();
  const bool unusable = std::any_of(id.view().begin(), id.view().end(), [](char c) {
    return c == '/' || static_cast<unsigned char>(c) <= ' ' || c == '\x7f';
  });
  return unusable || id.length() > Limits::JOB_ID_BYTES ? XCode::error("Invalid job id") : XCode();
}

bool isArrayOfObjects(const Value& value) {
  return value.isArray() && std::all_of(value.elements().begin(), value.elements().end(),
                                        [](const Value& element) { return element.isObject(); });
}

XCode checkInterfaces(const Value& description) {
  const Value* interfaces = description.find("interfaces");
  if (interfaces == nullptr) return XCode();
  if (!isArrayOfObjects(*interfaces)) return XCode::error("Expecting interfaces array");
  for (const Value& item : interfaces->elements()) {
    const Value* expression = item.find("regex");
    if (expression == nullptr) continue;
    if (!expression->isString()) return XCode::error("Expecting interface regex string");
    const String source = expression->toString();
    const auto pattern = KXRegEx::COMPILE_EXPRESSION(source);
    const XCode error = pattern == nullptr ? XCode() : pattern->error();
    if (error.isErr()) {
      return XCode::error(String::format("Invalid interface regex %s: %s", source.c_str(), error.toString().c_str()));
    }
  }
  return XCode();
}

XCode checkServices(const Value& description) {
  const Value* services = description.find("services");
  if (services != nullptr) {
    bool usable = services->isObject();
    for (const Property::Member& member : services->members()) {
      const Value* ports = member.value.find("ports");
      usable = usable && member.value.isObject() && (ports == nullptr || ports->isArray());
    }
    if (!usable) return XCode::error("Expecting services object");
  }
  const Value* priorities = description.find("servicePriorities");
  if (priorities != nullptr && !priorities->isArray()) return XCode::error("Expecting servicePriorities array");
  return XCode();
}

bool isSequence(const Value& description) { return description["scanType"].toString() == "sequence"; }

bool isScanType(const String& type) {
  return type == "node" || type == "service" || type == "status" || type == "sequence";
}

// The sub-jobs that a sequence expands to, as far as the limit: what is past it is just past it.
std::uint64_t countSubJobs(const Value& sequence, unsigned depth) {
  constexpr std::uint64_t TOO_MANY = Limits::SUB_JOBS + 1;
  if (depth > Limits::SEQUENCE_DEPTH) return TOO_MANY;
  std::uint64_t count = 0;
  for (const Value& item : sequence["jobs"].elements()) {
    const bool nested = isSequence(item);
    const std::uint64_t each = 1 + (nested ? countSubJobs(item, depth + 1) : 0);
    if (each > TOO_MANY) return TOO_MANY;
    if (isScanType(item["scanType"].toString())) count += each * item["repeat"].toUIntOr(1);
    if (count >= TOO_MANY) return TOO_MANY;
  }
  return count;
}

XCode checkItem(const Value& description);

// Recursion ends with the value, whose depth its reader has bounded.
XCode checkJobs(const Value& description) {
  const Value* jobs = description.find("jobs");
  if (jobs == nullptr) return XCode();
  if (!isArrayOfObjects(*jobs)) return XCode::error("Expecting jobs array");
  for (const Value& item : jobs->elements()) {
    XCode result = checkItem(item);
    if (result.isErr()) return result;
  }
  return XCode();
}

XCode checkItem(const Value& description) {
  if (!description.isObject()) return XCode::error("Expecting job description object");
  XCode result = checkId(description);
  if (result.isSuccess()) result = checkInterfaces(description);
  if (result.isSuccess()) result = checkServices(description);
  if (result.isSuccess()) result = checkJobs(description);
  return result;
}

}  // namespace

XCode validateJobDescriptionWhat(const Value& description) {
  XCode result = checkItem(description);
  if (result.isSuccess() && isSequence(description) && countSubJobs(description, 1) > Limits::SUB_JOBS) {
    result = XCode::error("Too many sub-jobs");
  }
  return result;
}

}  // namespace KX::NMS::Discovery
