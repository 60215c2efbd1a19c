// SPDX-License-Identifier: Apache-2.0
#include "platform/time/Clock.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string_view>

namespace {

using Days = std::chrono::sys_days;

constexpr std::int64_t MICROSECONDS = 1'000'000;
constexpr std::int64_t SECONDS_PER_DAY = 86'400;
// The calendar repeats itself after so many years.
constexpr std::int64_t YEARS_PER_ERA = 400;
constexpr std::int64_t DAYS_PER_ERA = 146'097;

static_assert(sizeof(std::time_t) == sizeof(std::int64_t), "local time ends in 2038 where seconds have 32 bits");

constexpr std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}

Days toDays(std::int64_t days) { return Days(std::chrono::days(static_cast<int>(days))); }

// Reads an RFC 3339 time piece by piece. From the first piece that does not fit, every other one is refused too.
class TimeReader {
 public:
  explicit TimeReader(std::string_view text) : rest_(text) {}

  bool isComplete() const { return good_ && rest_.empty(); }

  // One character out of those given.
  char oneOf(std::string_view allowed) {
    for (const char c : allowed) {
      if (good_ && rest_.starts_with(c)) {
        rest_.remove_prefix(1);
        return c;
      }
    }
    good_ = false;
    return '\0';
  }

  int digit() {
    good_ = good_ && isAtDigit();
    if (!good_) return 0;
    const int value = rest_.front() - '0';
    rest_.remove_prefix(1);
    return value;
  }

  int number(int digits, int largest) {
    int value = 0;
    for (int i = 0; i < digits; ++i) value = value * 10 + digit();
    good_ = good_ && value <= largest;
    return value;
  }

  std::chrono::year_month_day date() {
    const std::chrono::year year(number(4, 9999));
    oneOf("-");
    const std::chrono::month month(static_cast<unsigned>(number(2, 12)));
    oneOf("-");
    const std::chrono::day day(static_cast<unsigned>(number(2, 31)));
    const std::chrono::year_month_day date = year / month / day;
    good_ = good_ && date.ok();
    return date;
  }

  // In seconds; a leap second counts as the one that follows it.
  std::int64_t timeOfDay(bool& leapSecond) {
    const int hours = number(2, 23);
    oneOf(":");
    const int minutes = number(2, 59);
    oneOf(":");
    const int seconds = number(2, 60);
    leapSecond = seconds == 60;
    return (hours * 60 + minutes) * 60 + seconds;
  }

  // In microseconds; the digits beyond are dropped. 0 where there is none.
  std::int64_t fraction() {
    if (rest_.empty() || rest_.front() != '.') return 0;
    oneOf(".");
    std::int64_t value = 0;
    std::int64_t weight = MICROSECONDS;
    do {
      weight /= 10;
      value += digit() * weight;
    } while (isAtDigit());
    return value;
  }

  // In seconds, positive to the east.
  int offset() {
    const char sign = oneOf("Zz+-");
    if (sign != '+' && sign != '-') return 0;
    const int hours = number(2, 23);
    oneOf(":");
    const int seconds = (hours * 60 + number(2, 59)) * 60;
    return sign == '+' ? seconds : -seconds;
  }

 private:
  bool isAtDigit() const { return !rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9'; }

  std::string_view rest_;
  bool good_ = true;
};

// Leap seconds are put in where a month ends in UTC.
bool isStartOfMonth(std::int64_t seconds) {
  const std::chrono::year_month_day date(toDays(floorDivide(seconds, SECONDS_PER_DAY)));
  return seconds % SECONDS_PER_DAY == 0 && date.day() == std::chrono::day(1);
}

bool readTime(std::string_view text, std::int64_t& microseconds) {
  TimeReader reader(text);
  const std::chrono::year_month_day date = reader.date();
  reader.oneOf("Tt");
  bool leapSecond = false;
  const std::int64_t timeOfDay = reader.timeOfDay(leapSecond);
  const std::int64_t fraction = reader.fraction();
  const int offset = reader.offset();
  if (!reader.isComplete()) return false;
  const std::int64_t seconds = Days(date).time_since_epoch().count() * SECONDS_PER_DAY + timeOfDay - offset;
  if (leapSecond && !isStartOfMonth(seconds)) return false;
  microseconds = seconds * MICROSECONDS + fraction;
  return true;
}

// In seconds, positive to the east; 0 where the system knows no zone.
std::int64_t localOffset(std::int64_t seconds) {
  // localtime_r alone would never notice a zone that is changed while the process runs.
  tzset();
  const std::time_t time = seconds;
  std::tm local{};
  return localtime_r(&time, &local) == nullptr ? 0 : local.tm_gmtoff;
}

// The text of a time, digit by digit: every node that is reported has one, and printf would be most of that work.
class TimeWriter {
 public:
  // "2026-11-20", separator, "22:25:00". The year has more digits or a minus sign where it needs them.
  void dateAndTime(std::int64_t seconds, char separator) {
    const std::int64_t days = floorDivide(seconds, SECONDS_PER_DAY);
    const std::int64_t era = floorDivide(days, DAYS_PER_ERA);
    // The library's years have 16 bits.
    const std::chrono::year_month_day date(toDays(days - era * DAYS_PER_ERA));
    const std::int64_t year = static_cast<int>(date.year()) + era * YEARS_PER_ERA;
    const auto time = static_cast<std::uint32_t>(seconds - days * SECONDS_PER_DAY);
    if (year < 0) put('-');
    number(static_cast<std::uint32_t>(std::abs(year)), 4);
    put('-');
    twoDigits(static_cast<unsigned>(date.month()));
    put('-');
    twoDigits(static_cast<unsigned>(date.day()));
    put(separator);
    twoDigits(time / 3600);
    put(':');
    twoDigits(time / 60 % 60);
    put(':');
    twoDigits(time % 60);
  }
  void twoDigits(std::uint32_t value) {
    put(static_cast<char>('0' + value / 10));
    put(static_cast<char>('0' + value % 10));
  }
  // With leading zeros.
  void number(std::uint32_t value, unsigned digits) {
    char reversed[10];
    unsigned count = 0;
    for (; value != 0 || count < digits; value /= 10) reversed[count++] = static_cast<char>('0' + value % 10);
    while (count > 0) put(reversed[--count]);
  }
  void put(char c) { text_[length_++] = c; }
  String text() const { return {text_, length_}; }

 private:
  // A year has up to six digits.
  char text_[48];
  std::size_t length_ = 0;
};

String machineFormat(const KX::Clock::Time& time, bool isUtc) {
  // Offsets have whole minutes in RFC 3339; before railways, zones did not.
  const int minutes = isUtc ? 0 : static_cast<int>(localOffset(time.seconds) / 60);
  TimeWriter writer;
  writer.dateAndTime(time.seconds + minutes * 60, 'T');
  writer.put('.');
  writer.number(time.fraction / 1000, 3);
  if (isUtc) {
    writer.put('Z');
    return writer.text();
  }
  const auto distance = static_cast<unsigned>(std::abs(minutes));
  writer.put(minutes < 0 ? '-' : '+');
  writer.number(distance / 60, 2);
  writer.put(':');
  writer.twoDigits(distance % 60);
  return writer.text();
}

}  // namespace

namespace KX {

Clock::Clock(std::int64_t seconds, unsigned zone)
    : Clock(fromMicroseconds(std::clamp(seconds, EARLIEST / MICROSECONDS - 1, LATEST / MICROSECONDS + 1) * MICROSECONDS,
                             zone)) {}

Clock::Clock(const String& text, unsigned zone, [[maybe_unused]] unsigned flags) {
  std::int64_t microseconds = 0;
  if (readTime(text, microseconds)) *this = fromMicroseconds(microseconds, zone);
}

Clock Clock::fromMicroseconds(std::int64_t microseconds, unsigned zone) {
  Clock clock;
// The range fits the field, which the compiler does not see.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
  clock.microseconds_ = std::clamp(microseconds, EARLIEST, LATEST);
#pragma GCC diagnostic pop
  clock.zone_ = zone == UTC ? UTC : LOCAL;
  return clock;
}

Clock Clock::system() {
  std::timespec now{};
  // It cannot fail: every system has this clock.
  static_cast<void>(clock_gettime(CLOCK_REALTIME, &now));
  return fromMicroseconds(now.tv_sec * MICROSECONDS + now.tv_nsec / 1000);
}

Clock Clock::utc() const {
  Clock clock = *this;
  clock.zone_ = UTC;
  return clock;
}

Clock::Time Clock::toTime() const {
  const std::int64_t seconds = floorDivide(microseconds_, MICROSECONDS);
  return Time{seconds, static_cast<std::uint32_t>(microseconds_ - seconds * MICROSECONDS)};
}

String Clock::toString(unsigned format) const {
  if (!isValid()) return String();
  const Time time = toTime();
  if (format == MACHINE) return machineFormat(time, zone_ == UTC);
  TimeWriter writer;
  writer.dateAndTime(time.seconds + localOffset(time.seconds), ' ');
  return writer.text();
}

}  // namespace KX
