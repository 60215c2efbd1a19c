// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstdint>

#include "platform/base/Export.h"
#include "platform/base/String.h"

namespace KX {

// A point in time in microseconds since 1970-01-01 UTC, good for 70,000 years either way on every machine, with the
// zone in which it is written for machines; or invalid. Eight bytes wide. Never blocks; values may be copied between
// threads.
class KX_EXPORT Clock {
 public:
  enum Zone : unsigned { LOCAL = 0, UTC = 1 };
  enum Format : unsigned { MACHINE = 0, HUMAN = 1 };

  // Seconds decide, then the fraction in microseconds.
  struct Time {
    std::int64_t seconds;
    std::uint32_t fraction;
    auto operator<=>(const Time&) const = default;
  };

  // Invalid.
  constexpr Clock() = default;
  // What is out of range becomes the earliest or the latest time, here and in fromMicroseconds.
  explicit Clock(std::int64_t seconds, unsigned zone = LOCAL);
  // Reads an RFC 3339 time, with or without fraction, with "Z" or an offset; anything else gives an invalid clock.
  // There are no flags yet: callers pass 0.
  Clock(const String& text, unsigned zone, unsigned flags);
  static Clock fromMicroseconds(std::int64_t microseconds, unsigned zone = LOCAL);

  // The present by the calling thread's event loop, or by the system where the thread has no loop.
  static Clock NOW();
  // The present by the operating system.
  static Clock system();

  bool isValid() const { return microseconds_ != INVALID; }
  // The same time, written in UTC.
  Clock utc() const;
  // An invalid clock is the far future: whatever has no valid time is never due and sorts last.
  Time toTime() const;
  std::int64_t toMicroseconds() const { return microseconds_; }

  // MACHINE: RFC 3339 with milliseconds, "2026-11-20T22:25:00.123Z", or with the local offset where the clock is not
  // shown in UTC. HUMAN: "2026-11-20 22:25:00", local time for every clock, so that times of all origins stand side by
  // side. An invalid clock gives "".
  String toString(unsigned format) const;

  // Whether both are the same instant; the zone does not count.
  bool operator==(const Clock& other) const { return microseconds_ == other.microseconds_; }

 private:
  // Above every valid time, so an invalid clock sorts last by itself.
  static constexpr std::int64_t INVALID = (std::int64_t{1} << 61U) - 1;
  static constexpr std::int64_t LATEST = INVALID - 1;
  static constexpr std::int64_t EARLIEST = -INVALID - 1;

  std::int64_t microseconds_ : 62 = INVALID;
  std::uint64_t zone_ : 2 = LOCAL;
};

}  // namespace KX
