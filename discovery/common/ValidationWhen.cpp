// SPDX-License-Identifier: Apache-2.0
#include <ccronexpr.h>

#include <ctime>

#include "discovery/common/LogText.h"
#include "discovery/common/Validation.h"

namespace KX::NMS::Discovery {
namespace {

using Property::Value;

// Only blanks separate fields; other white space counts for nothing.
unsigned countFields(const String& specification) {
  unsigned fields = 0;
  bool inField = false;
  for (const char c : specification.view()) {
    if (c >= '\t' && c <= '\r') continue;
    if (c != ' ' && !inField) ++fields;
    inField = c != ' ';
  }
  return fields;
}

struct Schedule {
  String cron;
  const Value* firstRun = nullptr;
};

XCode readSchedule(const Value& schedule, Schedule& result) {
  const XCode refusal = XCode::error("Expecting schedule");
  const Value* cron = schedule.isString() ? &schedule : schedule.find("cron");
  result.firstRun = schedule.find("firstRun");
  if (cron == nullptr && result.firstRun == nullptr) return refusal;
  if (result.firstRun != nullptr && !result.firstRun->isString()) return refusal;
  if (cron == nullptr) return XCode();
  if (!cron->isString() || cron->toString().isEmpty()) return refusal;
  result.cron = cron->toString();
  // Five fields are a specification without seconds.
  if (countFields(result.cron) == 5) result.cron = String::format("0 %s", result.cron.c_str());
  return XCode();
}

XCode findNextMatch(const String& specification, const Clock& now, Clock& next) {
  cron_expr expression;
  const char* error = nullptr;
  // The expression library reads up to the first NUL and would not see what follows.
  if (specification.view().find('\0') != std::string_view::npos) {
    error = "embedded NUL";
  } else {
    cron_parse_expr(specification.c_str(), &expression, &error);
  }
  if (error != nullptr) {
    return XCode::error(String::format("Invalid cron specification %s: %s", inLog(specification).c_str(), error));
  }
  const std::int64_t match = cron_next(&expression, static_cast<std::time_t>(now.toTime().seconds));
  if (match == -1) {
    return XCode::error(String::format("Cron specification %s never matches", specification.c_str()));
  }
  next = Clock(match, Clock::LOCAL);
  return XCode();
}

XCode readFirstRun(const String& text, const Clock& now, Clock& firstRun) {
  firstRun = text == "now" ? now : Clock(text, Clock::LOCAL, 0);
  if (firstRun.isValid()) return XCode();
  return XCode::error(String::format("Invalid first run time: %s", inLog(text).c_str()));
}

}  // namespace

XCode validateJobDescriptionWhen(const Value& description, String& cronSpecification, Clock& nextRun) {
  const Clock now = Clock::NOW();
  Schedule schedule;
  Clock first;
  XCode result = readSchedule(description["schedule"], schedule);
  if (result.isSuccess() && !schedule.cron.isEmpty()) result = findNextMatch(schedule.cron, now, first);
  if (result.isSuccess() && schedule.firstRun != nullptr) {
    result = readFirstRun(schedule.firstRun->toString(), now, first);
  }
  if (result.isErr()) return result;
  cronSpecification = schedule.cron;
  nextRun = first;
  return XCode();
}

}  // namespace KX::NMS::Discovery
