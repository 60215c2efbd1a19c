// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <ctime>
#include <optional>

#include "cron/BitSet.h"
#include "cron/ccronexpr.h"

using namespace ccronexpr;

namespace {

using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;

// 29 February on a given weekday: 28 years apart, 40 across a century without a leap day. Nothing comes more rarely.
constexpr std::chrono::years kHorizon{40};

// After 400 years the calendar repeats, weekdays included. So the search takes place within 400 years of the epoch, and
// never meets a date that the calendar types or 64-bit seconds cannot hold, whatever date it is asked for.
constexpr seconds kCalendarCycle = days{146097};

// An expression as words, without bits that mean nothing.
struct Schedule {
  explicit Schedule(const cron_expr& expression)
      : seconds(load(expression.seconds) & bitsBetween(0, 59)),
        minutes(load(expression.minutes) & bitsBetween(0, 59)),
        hours(load(expression.hours) & bitsBetween(0, 23)),
        daysOfMonth(load(expression.days_of_month) & bitsBetween(1, 31)),
        months(load(expression.months) & bitsBetween(0, 11)),
        weekdays((load(expression.days_of_week) & bitsBetween(0, 6)) * kSixWeeks) {}

  bool hasTimeOfDay() const { return seconds != 0 && minutes != 0 && hours != 0; }

  // Multiplying by it repeats a week's seven bits six times, enough to lay over any month.
  static constexpr BitSet kSixWeeks = 0x810204081;

  BitSet seconds;
  BitSet minutes;
  BitSet hours;
  BitSet daysOfMonth;
  BitSet months;
  BitSet weekdays;
};

seconds timeOfDay(unsigned hour, unsigned minute, unsigned second) {
  return seconds{(hour * 60 + minute) * 60 + second};
}

seconds firstTimeOfDay(const Schedule& schedule) {
  return timeOfDay(firstFrom(schedule.hours, 0), firstFrom(schedule.minutes, 0), firstFrom(schedule.seconds, 0));
}

// The first matching time of day that is not before `from`.
std::optional<seconds> nextTimeOfDay(const Schedule& schedule, seconds from) {
  const unsigned time = static_cast<unsigned>(from.count());
  const unsigned fromHour = time / 3600;
  const unsigned fromMinute = time / 60 % 60;
  const unsigned second = firstFrom(schedule.seconds, time % 60);
  const unsigned minute = firstFrom(schedule.minutes, fromMinute + (second == kNone ? 1 : 0));
  const unsigned hour = firstFrom(schedule.hours, fromHour + (minute == kNone ? 1 : 0));
  if (hour == kNone) return std::nullopt;
  if (hour != fromHour) return timeOfDay(hour, firstFrom(schedule.minutes, 0), firstFrom(schedule.seconds, 0));
  if (minute != fromMinute) return timeOfDay(hour, minute, firstFrom(schedule.seconds, 0));
  return timeOfDay(hour, minute, second);
}

// The matching days of the month as day numbers, found for all of them at once: the weeks are laid over the month.
BitSet daysInMonth(const Schedule& schedule, std::chrono::year_month month, sys_days firstDay) {
  const unsigned length = static_cast<unsigned>((month / std::chrono::last).day());
  const unsigned firstWeekday = std::chrono::weekday(firstDay).c_encoding();
  return schedule.daysOfMonth & (schedule.weekdays >> firstWeekday << 1) & bitsBetween(1, length);
}

// The first matching day that is not before `from`.
std::optional<sys_days> nextDay(const Schedule& schedule, sys_days from) {
  const std::chrono::year_month_day date(from);
  unsigned month = static_cast<unsigned>(date.month()) - 1;
  for (std::chrono::year year = date.year(); year <= date.year() + kHorizon; ++year, month = 0) {
    for (; (month = firstFrom(schedule.months, month)) != kNone; ++month) {
      const std::chrono::year_month candidate = year / std::chrono::month(month + 1);
      const sys_days firstDay = candidate / 1;
      const unsigned earliest = firstDay < from ? static_cast<unsigned>(date.day()) : 1;
      const unsigned day = firstFrom(daysInMonth(schedule, candidate, firstDay), earliest);
      if (day != kNone) return firstDay + days(day - 1);
    }
  }
  return std::nullopt;
}

// The first match that is not before `from`.
std::optional<sys_seconds> nextMatch(const Schedule& schedule, sys_seconds from) {
  const sys_days today = std::chrono::floor<days>(from);
  std::optional<sys_days> day = nextDay(schedule, today);
  if (day == today) {
    if (const std::optional<seconds> time = nextTimeOfDay(schedule, from - today)) return today + *time;
    day = nextDay(schedule, today + days(1));
  }
  if (!day) return std::nullopt;
  return *day + firstTimeOfDay(schedule);
}

}  // namespace

time_t cron_next(cron_expr* expr, time_t date) {
  if (expr == nullptr) return -1;
  const Schedule schedule(*expr);
  if (!schedule.hasTimeOfDay()) return -1;
  const sys_seconds now{seconds{date} % kCalendarCycle};
  const std::optional<sys_seconds> match = nextMatch(schedule, now + seconds{1});
  time_t result = -1;
  if (!match || __builtin_add_overflow(date, (*match - now).count(), &result)) return -1;
  return result;
}
