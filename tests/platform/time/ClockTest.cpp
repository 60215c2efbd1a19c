// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <string>

#include "platform/time/Clock.h"

namespace {

using KX::Clock;

constexpr std::int64_t MICROSECONDS = 1'000'000;
constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();

Clock read(std::string_view text) { return Clock(String(text), Clock::UTC, 0); }
bool isValid(std::string_view text) { return read(text).isValid(); }
std::int64_t seconds(std::string_view text) { return read(text).toTime().seconds; }
std::int64_t microseconds(std::string_view text) { return read(text).toMicroseconds(); }
String machine(std::string_view text) { return read(text).toString(Clock::MACHINE); }

// Sets the local zone for one test. The zones are written out, so no zone database is needed.
class ClockZoneTest : public testing::Test {
 protected:
  ClockZoneTest() {
    const char* zone = std::getenv("TZ");
    if (zone != nullptr) before_ = zone;
  }
  ~ClockZoneTest() override {
    if (before_) {
      setZone(before_->c_str());
    } else {
      unsetenv("TZ");
    }
  }
  static void setZone(const char* zone) { setenv("TZ", zone, 1); }

 private:
  std::optional<std::string> before_;
};

TEST(ClockTest, IsEightBytesWide) { EXPECT_EQ(sizeof(Clock), 8U); }

TEST(ClockTest, IsInvalidByDefault) {
  const Clock clock;
  EXPECT_FALSE(clock.isValid());
  EXPECT_FALSE(clock.utc().isValid());
  EXPECT_EQ(clock.toString(Clock::MACHINE), "");
  EXPECT_EQ(clock.toString(Clock::HUMAN), "");
}

TEST(ClockTest, InvalidClockIsLaterThanEveryValidOne) {
  EXPECT_GT(Clock().toTime(), Clock(MOST).toTime());
  EXPECT_GT(Clock().toTime(), Clock::system().toTime());
}

TEST(ClockTest, CountsSecondsSinceTheEpoch) {
  const Clock clock(1795213500);
  EXPECT_TRUE(clock.isValid());
  EXPECT_EQ(clock.toTime(), (Clock::Time{1795213500, 0}));
  EXPECT_EQ(clock.toMicroseconds(), 1795213500 * MICROSECONDS);
  EXPECT_EQ(clock.utc().toString(Clock::MACHINE), "2026-11-20T22:25:00.000Z");
}

TEST(ClockTest, SecondBeforeTheEpochIsAValidTime) {
  const Clock clock(-1);
  EXPECT_TRUE(clock.isValid());
  EXPECT_EQ(clock.toTime(), (Clock::Time{-1, 0}));
  EXPECT_EQ(clock.utc().toString(Clock::MACHINE), "1969-12-31T23:59:59.000Z");
}

TEST(ClockTest, FractionCountsForwardBeforeTheEpochToo) {
  const Clock clock = Clock::fromMicroseconds(-1, Clock::UTC);
  EXPECT_EQ(clock.toTime(), (Clock::Time{-1, 999999}));
  EXPECT_EQ(clock.toString(Clock::MACHINE), "1969-12-31T23:59:59.999Z");
  EXPECT_EQ(Clock::fromMicroseconds(-MICROSECONDS).toTime(), (Clock::Time{-1, 0}));
}

TEST(ClockTest, TimesCompareBySecondsThenFraction) {
  EXPECT_LT(Clock::fromMicroseconds(-1).toTime(), Clock(0).toTime());
  EXPECT_LT(Clock(5).toTime(), Clock::fromMicroseconds(5 * MICROSECONDS + 1).toTime());
  EXPECT_LT(Clock::fromMicroseconds(5 * MICROSECONDS + 1).toTime(), Clock(6).toTime());
}

TEST(ClockTest, EqualityIsOfInstantsWhateverTheZone) {
  EXPECT_EQ(Clock(7, Clock::LOCAL), Clock(7, Clock::UTC));
  EXPECT_FALSE(Clock(7) == Clock(8));
  EXPECT_EQ(Clock(), Clock().utc());
}

TEST(ClockTest, WhatIsOutOfRangeBecomesTheEarliestOrTheLatestTime) {
  const Clock latest = Clock::fromMicroseconds(MOST);
  const Clock earliest = Clock::fromMicroseconds(LEAST);
  EXPECT_TRUE(latest.isValid());
  EXPECT_TRUE(earliest.isValid());
  EXPECT_EQ(latest.toMicroseconds(), (std::int64_t{1} << 61U) - 2);
  EXPECT_EQ(earliest.toMicroseconds(), -(std::int64_t{1} << 61U));
  EXPECT_EQ(Clock(MOST), latest);
  EXPECT_EQ(Clock(LEAST), earliest);
  EXPECT_EQ(Clock::fromMicroseconds(Clock().toMicroseconds()), latest);
  EXPECT_EQ(Clock(latest.toTime().seconds).toTime().seconds, latest.toTime().seconds);
}

TEST(ClockTest, EveryTimeCanBePrinted) {
  EXPECT_EQ(Clock(253402300800, Clock::UTC).toString(Clock::MACHINE), "10000-01-01T00:00:00.000Z");
  EXPECT_EQ(Clock(-62167219201, Clock::UTC).toString(Clock::MACHINE), "-0001-12-31T23:59:59.000Z");
  EXPECT_EQ(Clock(-62167219200, Clock::UTC).toString(Clock::MACHINE), "0000-01-01T00:00:00.000Z");
  EXPECT_EQ(Clock(MOST, Clock::UTC).toString(Clock::MACHINE), "75039-04-04T19:00:13.693Z");
  EXPECT_EQ(Clock(LEAST, Clock::UTC).toString(Clock::MACHINE), "-71100-09-29T04:59:46.306Z");
  EXPECT_FALSE(Clock(MOST).toString(Clock::MACHINE).isEmpty());
  EXPECT_FALSE(Clock(LEAST).toString(Clock::HUMAN).isEmpty());
}

TEST(ClockTest, TheEndOf32BitSecondsIsASecondLikeAnyOther) {
  const Clock before = Clock::fromMicroseconds(2147483647'999'999, Clock::UTC);
  const Clock after = Clock::fromMicroseconds(2147483648'000'000, Clock::UTC);
  EXPECT_LT(before.toTime(), after.toTime());
  EXPECT_EQ(before.toString(Clock::MACHINE), "2038-01-19T03:14:07.999Z");
  EXPECT_EQ(after.toString(Clock::MACHINE), "2038-01-19T03:14:08.000Z");
  EXPECT_EQ(machine("2106-02-07T06:28:16Z"), "2106-02-07T06:28:16.000Z");
  EXPECT_EQ(read("2106-02-07T06:28:16Z").toMicroseconds(), (std::int64_t{1} << 32U) * MICROSECONDS);
}

TEST(ClockTest, SystemTimeIsThePresent) {
  const std::int64_t before = std::time(nullptr);
  const Clock clock = Clock::system();
  EXPECT_GE(clock.toTime().seconds, before);
  EXPECT_LE(clock.toTime().seconds, before + 60);
}

TEST(ClockTest, ReadsRfc3339) {
  EXPECT_EQ(microseconds("1970-01-01T00:00:00Z"), 0);
  EXPECT_EQ(seconds("2026-11-20T22:25:00Z"), 1795213500);
  EXPECT_EQ(microseconds("2026-11-20T22:25:00.123Z"), 1795213500123000);
  EXPECT_EQ(seconds("2026-11-20t22:25:00z"), 1795213500);
  EXPECT_EQ(seconds("2038-01-19T03:14:08Z"), std::int64_t{1} << 31U);
  EXPECT_EQ(seconds("1969-12-31T23:59:59Z"), -1);
}

TEST(ClockTest, ReadsYearsFrom0To9999) {
  EXPECT_EQ(seconds("0000-01-01T00:00:00Z"), -62167219200);
  EXPECT_EQ(seconds("9999-12-31T23:59:59Z"), 253402300799);
  EXPECT_EQ(seconds("9999-12-31T23:59:59-23:59"), 253402300799 + 86340);
}

TEST(ClockTest, ReadsOffsets) {
  EXPECT_EQ(seconds("2026-11-20T23:25:00+01:00"), 1795213500);
  EXPECT_EQ(seconds("2026-11-20T16:55:00-05:30"), 1795213500);
  EXPECT_EQ(seconds("2026-11-20T22:25:00-00:00"), 1795213500);
  EXPECT_EQ(seconds("2026-11-20T22:25:00+00:00"), 1795213500);
  EXPECT_EQ(seconds("1970-01-01T23:59:00+23:59"), 0);
  EXPECT_EQ(seconds("1969-12-31T00:01:00-23:59"), 0);
}

TEST(ClockTest, TruncatesFractionsToMicroseconds) {
  EXPECT_EQ(microseconds("1970-01-01T00:00:00.5Z"), 500000);
  EXPECT_EQ(microseconds("1970-01-01T00:00:00.000001Z"), 1);
  EXPECT_EQ(microseconds("1970-01-01T00:00:00.0000019Z"), 1);
  EXPECT_EQ(microseconds("1970-01-01T00:00:00." + std::string(1000, '9') + "+00:00"), 999999);
  EXPECT_EQ(microseconds("1969-12-31T23:59:59.75Z"), -250000);
}

TEST(ClockTest, LeapSecondIsTheSecondThatFollows) {
  EXPECT_EQ(seconds("2016-12-31T23:59:60Z"), seconds("2017-01-01T00:00:00Z"));
  EXPECT_EQ(seconds("2015-07-01T01:59:60+02:00"), seconds("2015-07-01T00:00:00Z"));
  EXPECT_EQ(microseconds("2016-12-31T23:59:60.5Z"), microseconds("2017-01-01T00:00:00.5Z"));
}

TEST(ClockTest, LeapSecondInsideAMonthIsNoTime) {
  EXPECT_FALSE(isValid("2016-12-31T12:00:60Z"));
  EXPECT_FALSE(isValid("2016-12-30T23:59:60Z"));
  EXPECT_FALSE(isValid("2016-12-31T23:59:60+01:00"));
  EXPECT_FALSE(isValid("2016-12-31T23:59:61Z"));
}

TEST(ClockTest, KnowsTheCalendar) {
  EXPECT_TRUE(isValid("2024-02-29T00:00:00Z"));
  EXPECT_TRUE(isValid("2000-02-29T00:00:00Z"));
  EXPECT_TRUE(isValid("0000-02-29T00:00:00Z"));
  for (const char* text :
       {"2023-02-29T00:00:00Z", "1900-02-29T00:00:00Z", "2024-02-30T00:00:00Z", "2024-04-31T00:00:00Z",
        "2024-00-10T00:00:00Z", "2024-13-10T00:00:00Z", "2024-01-00T00:00:00Z", "2024-01-32T00:00:00Z"}) {
    EXPECT_FALSE(isValid(text)) << text;
  }
}

TEST(ClockTest, AnythingElseIsInvalid) {
  for (const char* text : {"",
                           "now",
                           "2026-11-20",
                           "2026-11-20T22:25:00",
                           "2026-11-20T22:25Z",
                           "2026-11-20 22:25:00Z",
                           " 2026-11-20T22:25:00Z",
                           "2026-11-20T22:25:00Z ",
                           "2026-11-20T22:25:00ZZ",
                           "2026-11-20T24:00:00Z",
                           "2026-11-20T22:60:00Z",
                           "2026-11-20T22:25:00.Z",
                           "2026-11-20T22:25:00,5Z",
                           "2026-11-20T22:25:00.5",
                           "2026-11-20T22:25:00+1:00",
                           "2026-11-20T22:25:00+0100",
                           "2026-11-20T22:25:00+01",
                           "2026-11-20T22:25:00+24:00",
                           "2026-11-20T22:25:00+01:60",
                           "2026-11-20T22:25:00+01:00Z",
                           "20261120T222500Z",
                           "2026/11/20T22:25:00Z",
                           "+2026-11-20T22:25:00Z",
                           "-026-11-20T22:25:00Z",
                           "12026-11-20T22:25:00Z",
                           "2026-1-20T22:25:00Z",
                           "2026-11-20T2:25:00Z",
                           "2026-11-20T22:25:00 Z",
                           "2026-11-20T-2:25:00Z",
                           "2026-11-20T22:25:0xZ",
                           "2026-11-20T22:25:00\n"}) {
    EXPECT_FALSE(isValid(text)) << text;
  }
}

TEST(ClockTest, NulByteIsNoEnd) {
  EXPECT_FALSE(isValid(std::string_view("2026-11-20T22:25:00Z\0", 21)));
  EXPECT_FALSE(isValid(std::string_view("2026-11-20T22:25:00.5\0Z", 23)));
}

TEST(ClockTest, WhatIsPrintedIsReadBack) {
  for (const char* text : {"2026-11-20T22:25:00.123Z", "0000-01-01T00:00:00.000Z", "9999-12-31T23:59:59.999Z",
                           "1969-12-31T23:59:59.999Z", "2024-02-29T12:34:56.007Z"}) {
    EXPECT_EQ(machine(text), text);
  }
}

// Day by day across centuries with and without a leap year: the printed date is the next one of the calendar.
TEST(ClockTest, EveryDayHasItsDate) {
  constexpr int LENGTHS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::int64_t noon = seconds("1890-01-01T12:00:00Z");
  for (int year = 1890; year <= 2110; ++year) {
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    for (int month = 1; month <= 12; ++month) {
      const int length = LENGTHS[month - 1] + (month == 2 && leap ? 1 : 0);
      for (int day = 1; day <= length; ++day, noon += 86400) {
        const String expected = String::format("%04d-%02d-%02dT12:00:00.000Z", year, month, day);
        ASSERT_EQ(Clock(noon, Clock::UTC).toString(Clock::MACHINE), expected);
        ASSERT_EQ(seconds(expected), noon);
      }
    }
  }
}

TEST_F(ClockZoneTest, LocalTimesShowTheirOffset) {
  setZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const Clock winter(1795213500);
  EXPECT_EQ(winter.toString(Clock::MACHINE), "2026-11-20T23:25:00.000+01:00");
  EXPECT_EQ(winter.toString(Clock::HUMAN), "2026-11-20 23:25:00");
  const Clock summer = read("2026-07-01T12:00:00.5Z");
  EXPECT_EQ(Clock::fromMicroseconds(summer.toMicroseconds()).toString(Clock::MACHINE), "2026-07-01T14:00:00.500+02:00");
}

TEST_F(ClockZoneTest, LocalTimesFollowTheZoneBeyond2038) {
  setZone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(Clock(2147483648).toString(Clock::MACHINE), "2038-01-19T04:14:08.000+01:00");
  EXPECT_EQ(Clock(4118040000).toString(Clock::HUMAN), "2100-06-30 14:00:00");
}

TEST_F(ClockZoneTest, PeopleAreShownLocalTimeWhateverTheZoneOfTheClock) {
  setZone("CET-1");
  EXPECT_EQ(Clock(1795213500).toString(Clock::HUMAN), "2026-11-20 23:25:00");
  EXPECT_EQ(Clock(1795213500, Clock::UTC).toString(Clock::HUMAN), "2026-11-20 23:25:00");
  EXPECT_EQ(Clock("2026-11-20T22:25:00Z", Clock::UTC, 0).toString(Clock::HUMAN), "2026-11-20 23:25:00");
}

TEST_F(ClockZoneTest, UtcTimesDoNotDependOnTheZone) {
  setZone("CET-1");
  EXPECT_EQ(Clock(1795213500).utc().toString(Clock::MACHINE), "2026-11-20T22:25:00.000Z");
  EXPECT_EQ(seconds("2026-11-20T22:25:00Z"), 1795213500);
}

TEST_F(ClockZoneTest, ZoneThatChangesWhileTheProcessRunsIsFollowed) {
  setZone("CET-1");
  EXPECT_EQ(Clock(0).toString(Clock::HUMAN), "1970-01-01 01:00:00");
  setZone("EST5");
  EXPECT_EQ(Clock(0).toString(Clock::HUMAN), "1969-12-31 19:00:00");
}

TEST_F(ClockZoneTest, OffsetsWestAndOfHalfAnHour) {
  setZone("NST3:30");
  EXPECT_EQ(Clock(1795213500).toString(Clock::MACHINE), "2026-11-20T18:55:00.000-03:30");
  setZone("IST-5:30");
  EXPECT_EQ(Clock(1795213500).toString(Clock::MACHINE), "2026-11-21T03:55:00.000+05:30");
}

TEST_F(ClockZoneTest, OffsetWithSecondsKeepsTheInstant) {
  setZone("LMT4:56:02");
  const Clock clock(-2717650800);
  const String text = clock.toString(Clock::MACHINE);
  EXPECT_EQ(text, "1883-11-18T12:04:00.000-04:56");
  EXPECT_EQ(read(text), clock);
}

TEST_F(ClockZoneTest, WithoutAZoneLocalTimeIsUtc) {
  setZone("No/Such_Zone");
  EXPECT_EQ(Clock(1795213500).toString(Clock::MACHINE), "2026-11-20T22:25:00.000+00:00");
}

}  // namespace
