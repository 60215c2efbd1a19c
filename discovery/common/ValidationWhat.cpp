// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "discovery/common/Limits.h"
#include "discovery/common/LogText.h"
#include "discovery/common/Validation.h"
#include "platform/text/KXRegEx.h"
#include "platform/text/Unseen.h"
#include "platform/text/Utf8.h"

namespace KX::NMS::Discovery {
namespace {

using Property::Value;

// "id" names files and fills log prefixes, so it must stay within one path component and one word.
XCode checkId(const Value& description) {
  const String id = description["id"].toString();
  bool unusable = false;
  for (std::string_view rest = id; !rest.empty(); rest.remove_prefix(nextUtf8(rest).length)) {
    unusable = unusable || rest[0] == '/' || rest[0] == ' ' || startsWithControl(rest);
  }
  return unusable || id.length() > Limits::JOB_ID_BYTES ? XCode::error("Invalid job id") : XCode();
}

bool isArrayOfObjects(const Value& value) {
  return value.isArray() && std::all_of(value.elements().begin(), value.elements().end(),
                                        [](const Value& element) { return element.isObject(); });
}

// Recursion ends with the value, whose depth its reader has bounded.
std::size_t countInterfaceRules(const Value& description) {
  std::size_t count = description["interfaces"].elements().size();
  for (const Value& item : description["jobs"].elements()) count += countInterfaceRules(item);
  return count;
}

XCode checkInterfaces(const Value& description, bool isOutermost) {
  const Value* interfaces = description.find("interfaces");
  if (interfaces != nullptr && !isArrayOfObjects(*interfaces)) return XCode::error("Expecting interfaces array");
  if (isOutermost && countInterfaceRules(description) > Limits::INTERFACE_RULES) {
    return XCode::error("Too many interface rules");
  }
  if (interfaces == nullptr) return XCode();
  for (const Value& item : interfaces->elements()) {
    const Value* expression = item.find("regex");
    if (expression == nullptr) continue;
    if (!expression->isString()) return XCode::error("Expecting interface regex string");
    const String source = expression->toString();
    const auto pattern = KXRegEx::COMPILE_EXPRESSION(source);
    const XCode error = pattern == nullptr ? XCode() : pattern->error();
    if (error.isErr()) {
      return XCode::error(
          String::format("Invalid interface regex %s: %s", inLog(source).c_str(), inLog(error.toString()).c_str()));
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

// However often they are repeated.
bool nestsTooDeep(const Value& sequence, unsigned depth) {
  if (depth > Limits::SEQUENCE_DEPTH) return true;
  const auto items = sequence["jobs"].elements();
  return std::any_of(items.begin(), items.end(),
                     [&](const Value& item) { return isSequence(item) && nestsTooDeep(item, depth + 1); });
}

// The sub-jobs that a sequence expands to, as far as the limit: what is past it is just past it.
std::uint64_t countSubJobs(const Value& sequence) {
  constexpr std::uint64_t TOO_MANY = Limits::SUB_JOBS + 1;
  std::uint64_t count = 0;
  for (const Value& item : sequence["jobs"].elements()) {
    if (!isScanType(item["scanType"].toString())) continue;
    const std::uint64_t each = 1 + (isSequence(item) ? countSubJobs(item) : 0);
    count += each * item["repeat"].toUIntOr(1);
    if (count >= TOO_MANY) return TOO_MANY;
  }
  return count;
}

XCode checkItem(const Value& description, bool isOutermost);

XCode checkJobs(const Value& description) {
  const Value* jobs = description.find("jobs");
  if (jobs == nullptr) return XCode();
  if (!isArrayOfObjects(*jobs)) return XCode::error("Expecting jobs array");
  for (const Value& item : jobs->elements()) {
    XCode result = checkItem(item, false);
    if (result.isErr()) return result;
  }
  return XCode();
}

XCode checkItem(const Value& description, bool isOutermost) {
  if (!description.isObject()) return XCode::error("Expecting job description object");
  XCode result = checkId(description);
  if (result.isSuccess()) result = checkInterfaces(description, isOutermost);
  if (result.isSuccess()) result = checkServices(description);
  if (result.isSuccess()) result = checkJobs(description);
  return result;
}

}  // namespace

bool isScanType(std::string_view type) {
  return type == "node" || type == "service" || type == "status" || type == "sequence";
}

XCode validateJobDescriptionWhat(const Value& description) {
  XCode result = checkItem(description, true);
  if (result.isErr() || !isSequence(description)) return result;
  const bool isTooMany = nestsTooDeep(description, 1) || countSubJobs(description) > Limits::SUB_JOBS;
  return isTooMany ? XCode::error("Too many sub-jobs") : XCode();
}

}  // namespace KX::NMS::Discovery
