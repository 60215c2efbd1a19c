// SPDX-License-Identifier: Apache-2.0
// The library against a plain matcher that asks the C library for each date's fields and knows no bit sets.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <random>
#include <set>
#include <string>

#include "tests/cron/Parsed.h"

namespace {

constexpr time_t kDay = 86400;
constexpr time_t kFortyYears = 14611 * kDay;

struct Bounds {
  int minimum;
  int maximum;
};

constexpr std::array<Bounds, 6> kBounds = {{{0, 59}, {0, 59}, {0, 23}, {1, 31}, {1, 12}, {0, 7}}};

using Values = std::set<int>;

// A random expression: its text, and the values that each field must have.
class RandomExpression {
 public:
  explicit RandomExpression(std::mt19937& random) : random_(random) {
    for (std::size_t i = 0; i < kBounds.size(); ++i) text_ += (i == 0 ? "" : " ") + field(kBounds[i], values_[i]);
    if (values_[5].erase(7) != 0) values_[5].insert(0);
  }

  const std::string& text() const { return text_; }
  const std::array<Values, 6>& values() const { return values_; }

 private:
  int between(int minimum, int maximum) {
    return minimum + static_cast<int>(random_() % static_cast<unsigned>(maximum - minimum + 1));
  }

  std::string field(Bounds bounds, Values& values) {
    std::string text = item(bounds, values);
    for (int more = between(-3, 3); more > 0; --more) text += "," + item(bounds, values);
    return text;
  }

  std::string item(Bounds bounds, Values& values) {
    const int first = between(bounds.minimum, bounds.maximum);
    const int last = between(first, bounds.maximum);
    const int step = between(1, 9);
    switch (between(0, 5)) {
      case 0:
        return add("*", bounds.minimum, bounds.maximum, 1, values);
      case 1:
        return add("*/" + std::to_string(step), bounds.minimum, bounds.maximum, step, values);
      case 2:
        return add(std::to_string(first) + "/" + std::to_string(step), first, bounds.maximum, step, values);
      case 3:
        return add(std::to_string(first) + "-" + std::to_string(last), first, last, 1, values);
      case 4:
        return add(std::to_string(first) + "-" + std::to_string(last) + "/" + std::to_string(step), first, last, step,
                   values);
      default:
        return add(std::to_string(first), first, first, 1, values);
    }
  }

  static std::string add(const std::string& text, int first, int last, int step, Values& values) {
    for (int value = first; value <= last; value += step) values.insert(value);
    return text;
  }

  std::mt19937& random_;
  std::string text_;
  std::array<Values, 6> values_;
};

std::tm fieldsOf(time_t time) {
  std::tm fields = {};
  gmtime_r(&time, &fields);
  return fields;
}

// How far the next second is that could match, judged by the largest unit that does not match now: 0 is a match.
time_t distance(const std::array<Values, 6>& values, time_t time) {
  const std::tm now = fieldsOf(time);
  if (!values[3].contains(now.tm_mday) || !values[4].contains(now.tm_mon + 1) || !values[5].contains(now.tm_wday))
    return kDay - (now.tm_hour * 3600 + now.tm_min * 60 + now.tm_sec);
  if (!values[2].contains(now.tm_hour)) return 3600 - (now.tm_min * 60 + now.tm_sec);
  if (!values[1].contains(now.tm_min)) return 60 - now.tm_sec;
  return values[0].contains(now.tm_sec) ? 0 : 1;
}

time_t slowNext(const std::array<Values, 6>& values, time_t date) {
  for (time_t time = date + 1; time <= date + kFortyYears;) {
    const time_t skip = distance(values, time);
    if (skip == 0) return time;
    time += skip;
  }
  return -1;
}

// From 1902 on, and with 40 years to spare when time_t has 32 bits.
time_t randomDate(std::mt19937& random) {
  const std::int64_t last = sizeof(time_t) == 8 ? std::int64_t{8000000000} : std::int64_t{800000000};
  return static_cast<time_t>(std::uniform_int_distribution<std::int64_t>(-2140000000, last)(random));
}

TEST(CronReferenceTest, AgreesWithThePlainMatcherOnRandomExpressions) {
  std::mt19937 random(20240229);  // NOLINT: the same expressions in every run
  int matches = 0;
  for (int round = 0; round < 3000; ++round) {
    const RandomExpression expression(random);
    cron_expr parsedExpression = parsed(expression.text());
    const time_t date = randomDate(random);
    const time_t expected = slowNext(expression.values(), date);
    ASSERT_EQ(expected, cron_next(&parsedExpression, date)) << expression.text() << " after " << date;
    matches += expected == -1 ? 0 : 1;
  }
  EXPECT_GT(matches, 2500);
}

TEST(CronReferenceTest, ReturnsEveryMatchingSecondOfADayInTurn) {
  std::mt19937 random(7);  // NOLINT: the same expressions in every run
  int matches = 0;
  for (int round = 0; round < 60; ++round) {
    const RandomExpression expression(random);
    cron_expr parsedExpression = parsed(expression.text());
    const time_t start = slowNext(expression.values(), randomDate(random));
    if (start == -1) continue;
    time_t match = start;
    for (time_t time = start; time < start + kDay; ++time) {
      if (distance(expression.values(), time) != 0) continue;
      ASSERT_EQ(time, match) << expression.text();
      match = cron_next(&parsedExpression, match);
      ++matches;
    }
  }
  EXPECT_GT(matches, 10000);
}

// Days of all 400 years of the calendar: the weekday of each leap day, and nothing later than 40 years.
TEST(CronReferenceTest, FindsEveryLeapDayOfTheCalendarOnEveryWeekday) {
  if (sizeof(time_t) != 8) GTEST_SKIP() << "time_t has 32 bits";
  for (int weekday = 0; weekday < 7; ++weekday) {
    cron_expr expression = parsed("0 0 0 29 2 " + std::to_string(weekday));
    time_t expected = cron_next(&expression, 0);
    const time_t end = static_cast<time_t>(std::int64_t{500 * 366} * kDay);
    for (time_t day = expected; day < end; day += kDay) {
      const std::tm fields = fieldsOf(day);
      if (fields.tm_mon != 1 || fields.tm_mday != 29 || fields.tm_wday != weekday) continue;
      ASSERT_EQ(day, expected);
      expected = cron_next(&expression, day);
    }
    EXPECT_GE(expected, end);
  }
}

}  // namespace
