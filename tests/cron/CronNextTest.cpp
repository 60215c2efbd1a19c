// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>
#include <utility>

#include "tests/cron/Parsed.h"

namespace {

constexpr bool kWideTime = sizeof(time_t) == 8;

time_t secondsOf(const std::string& date) {
  std::tm fields = {};
  std::istringstream(date) >> std::get_time(&fields, "%Y-%m-%d %H:%M:%S");
  return timegm(&fields);
}

std::string dateOf(time_t time) {
  std::tm fields = {};
  gmtime_r(&time, &fields);
  std::ostringstream text;
  text << std::put_time(&fields, "%Y-%m-%d %H:%M:%S");
  return text.str();
}

std::string next(const std::string& expression, const std::string& date) {
  cron_expr copy = parsed(expression);
  const time_t time = cron_next(&copy, secondsOf(date));
  return time == -1 ? "never" : dateOf(time);
}

TEST(CronNextTest, HasNoAnswerWithoutAnExpression) { EXPECT_EQ(-1, cron_next(nullptr, 0)); }

TEST(CronNextTest, IsStrictlyLaterThanTheDate) {
  EXPECT_EQ("2024-01-01 00:00:01", next("* * * * * *", "2024-01-01 00:00:00"));
  EXPECT_EQ("2025-01-01 00:00:00", next("0 0 0 1 1 *", "2024-01-01 00:00:00"));
  EXPECT_EQ("2024-01-01 00:00:00", next("0 0 0 1 1 *", "2023-12-31 23:59:59"));
}

TEST(CronNextTest, ResetsTheSecondWhenALaterMinuteIsChosen) {
  EXPECT_EQ("2024-05-05 10:05:10", next("10,50 5 * * * *", "2024-05-05 10:02:30"));
  EXPECT_EQ("2024-05-05 11:05:10", next("10,50 5 * * * *", "2024-05-05 10:05:50"));
  EXPECT_EQ("2024-05-05 10:07:05", next("5-15 */7 * * * *", "2024-05-05 10:00:30"));
}

TEST(CronNextTest, ResetsTheTimeWhenALaterDayIsChosen) {
  EXPECT_EQ("2024-06-01 03:20:10", next("10,50 20,40 3,22 1 * *", "2024-05-05 22:40:51"));
  EXPECT_EQ("2025-02-01 00:00:00", next("* * * * 2 *", "2024-03-01 12:34:56"));
}

TEST(CronNextTest, FindsTheLastDaysOfMonthsThatHaveThem) {
  EXPECT_EQ("2024-03-31 00:00:00", next("0 0 0 31 * *", "2024-01-31 00:00:00"));
  EXPECT_EQ("2024-03-30 00:00:00", next("0 0 0 30 * *", "2024-01-30 00:00:00"));
  EXPECT_EQ("2024-02-29 00:00:00", next("0 0 0 29 * *", "2024-01-29 12:00:00"));
  EXPECT_EQ("2023-03-29 00:00:00", next("0 0 0 29 * *", "2023-01-29 12:00:00"));
  EXPECT_EQ("2023-03-31 00:00:00", next("0 0 0 31 2,3 *", "2023-01-31 00:00:00"));
}

TEST(CronNextTest, WantsBothDayFieldsToMatch) {
  EXPECT_EQ("2024-09-13 00:00:00", next("0 0 0 13 * FRI", "2023-10-13 00:00:00"));
  EXPECT_EQ("2024-06-03 09:00:00", next("0 0 9 1-7 * MON", "2024-05-06 09:00:00"));
}

TEST(CronNextTest, KnowsWhichCenturiesHaveALeapDay) {
  EXPECT_EQ("2028-02-29 00:00:00", next("0 0 0 29 2 *", "2024-02-29 00:00:00"));
  EXPECT_EQ("2000-02-29 00:00:00", next("0 0 0 29 2 *", "1996-02-29 00:00:00"));
  if (kWideTime) {
    EXPECT_EQ("2104-02-29 00:00:00", next("0 0 0 29 2 *", "2096-02-29 00:00:00"));
  }
}

TEST(CronNextTest, FindsTheLeapDayOnAGivenWeekday) {
  EXPECT_EQ("2032-02-29 00:00:00", next("0 0 0 29 2 SUN", "2004-02-29 00:00:00"));
  EXPECT_EQ("1960-02-29 00:00:00", next("0 0 0 29 2 MON", "1932-02-29 00:00:00"));
  if (kWideTime) {
    EXPECT_EQ("2112-02-29 00:00:00", next("0 0 0 29 2 MON", "2072-02-29 00:00:00"));
  }
}

TEST(CronNextTest, NeverMatchesADateThatDoesNotExist) {
  for (const char* expression : {"* * * 30 2 *", "* * * 31 4 *", "* * * 31 2,4,6,9,11 *", "0 0 0 30,31 FEB MON"})
    for (const char* date : {"1999-01-01 00:00:00", "2024-02-29 23:59:59"})
      EXPECT_EQ("never", next(expression, date)) << expression;
}

TEST(CronNextTest, WorksBeforeTheEpoch) {
  EXPECT_EQ("1969-12-31 00:00:00", next("0 0 0 * * *", "1969-12-30 12:00:00"));
  EXPECT_EQ("1969-12-30 23:59:58", next("58 59 23 * * *", "1969-12-30 23:59:57"));
  EXPECT_EQ("1904-02-29 00:00:00", next("0 0 0 29 2 *", "1902-01-01 00:00:00"));
  cron_expr everySecond = parsed("* * * * * *");
  EXPECT_EQ(-86400, cron_next(&everySecond, -86401));
  EXPECT_EQ(0, cron_next(&everySecond, -1));
  if (kWideTime) {
    EXPECT_EQ("1904-02-29 00:00:00", next("0 0 0 29 2 *", "1896-02-29 00:00:00"));
    EXPECT_EQ("1600-02-29 00:00:00", next("0 0 0 29 2 TUE", "1599-12-31 23:59:59"));
  }
}

TEST(CronNextTest, WorksBeyond2038) {
  if (!kWideTime) GTEST_SKIP() << "time_t has 32 bits";
  EXPECT_EQ("2038-01-19 03:14:08", next("* * * * * *", "2038-01-19 03:14:07"));
  EXPECT_EQ("2039-01-01 00:00:00", next("0 0 0 1 1 *", "2038-01-19 03:14:07"));
  EXPECT_EQ("2500-12-31 23:59:59", next("59 59 23 31 12 *", "2500-01-01 00:00:00"));
  EXPECT_EQ("9999-12-31 23:59:59", next("59 59 23 31 12 *", "9999-01-01 00:00:00"));
}

TEST(CronNextTest, HasNoAnswerThatDoesNotFitTheTimeType) {
  constexpr time_t last = std::numeric_limits<time_t>::max();
  cron_expr everySecond = parsed("* * * * * *");
  EXPECT_EQ(last, cron_next(&everySecond, last - 1));
  EXPECT_EQ(-1, cron_next(&everySecond, last));
  cron_expr leapDay = parsed("0 0 0 29 2 *");
  EXPECT_EQ(-1, cron_next(&leapDay, last - 86400));
}

TEST(CronNextTest, WorksAtTheFirstTimeOfTheTimeType) {
  constexpr time_t first = std::numeric_limits<time_t>::min();
  cron_expr everySecond = parsed("* * * * * *");
  EXPECT_EQ(first + 1, cron_next(&everySecond, first));
  cron_expr daily = parsed("0 0 0 * * *");
  const time_t midnight = cron_next(&daily, first);
  EXPECT_EQ(0, midnight % 86400);
  EXPECT_LT(midnight, first + 86400);
}

TEST(CronNextTest, RepeatsAfterFourCenturies) {
  if (!kWideTime) GTEST_SKIP() << "time_t has 32 bits";
  constexpr std::int64_t cycle = std::int64_t{146097} * 86400;
  cron_expr expression = parsed("7 7 7 29 2 THU");
  const std::int64_t match = cron_next(&expression, 0);
  for (const std::int64_t cycles : {-700000000, -1000, -1, 1, 1000, 700000000})
    EXPECT_EQ(match + cycles * cycle, cron_next(&expression, static_cast<time_t>(cycles * cycle)));
}

TEST(CronNextTest, IgnoresBitsThatMeanNothing) {
  cron_expr expression = parsed("59 59 23 31 12 *");
  expression.seconds[7] = static_cast<std::uint8_t>(expression.seconds[7] | 0xF0U);
  expression.minutes[7] = static_cast<std::uint8_t>(expression.minutes[7] | 0xF0U);
  expression.days_of_month[0] = 1;
  expression.days_of_week[0] = 0xFF;
  expression.months[1] = static_cast<std::uint8_t>(expression.months[1] | 0xF0U);
  EXPECT_EQ(secondsOf("2024-12-31 23:59:59"), cron_next(&expression, secondsOf("2024-01-01 00:00:00")));
  std::memset(&expression, 0xFF, sizeof expression);
  for (const time_t date : {0, 59, 3599, 86399, 86400 * 31 - 1, 86400 * 365 - 1})
    EXPECT_EQ(date + 1, cron_next(&expression, date));
  std::memset(expression.seconds, 0, sizeof expression.seconds);
  std::memset(expression.hours, 0, sizeof expression.hours);
  expression.seconds[0] = 1;
  expression.hours[0] = 1;
  EXPECT_EQ(86400, cron_next(&expression, 3540));
}

TEST(CronNextTest, NeverMatchesAnEmptySet) {
  for (std::size_t field = 0; field < 6; ++field) {
    constexpr std::array<std::pair<std::size_t, std::size_t>, 6> places = {
        {{0, 8}, {8, 8}, {16, 3}, {19, 1}, {20, 4}, {24, 2}}};
    std::array<std::uint8_t, sizeof(cron_expr)> bytes;
    bytes.fill(0xFF);
    std::memset(bytes.data() + places[field].first, 0, places[field].second);
    cron_expr expression;
    std::memcpy(&expression, bytes.data(), bytes.size());
    EXPECT_EQ(-1, cron_next(&expression, 1000000000)) << field;
  }
}

}  // namespace
