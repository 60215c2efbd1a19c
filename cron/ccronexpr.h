// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

// A parsed cron specification: one bit set per field, bit n being bit n % 8 of byte n / 8. Plain data, 26 bytes, owned
// by the caller and free to be copied; nothing is to be released. Months count from 0 (January), days of the week from
// 0 (Sunday) to 6, days of the month from 1.
typedef struct cron_expr {
  uint8_t seconds[8];
  uint8_t minutes[8];
  uint8_t hours[3];
  uint8_t days_of_week[1];
  uint8_t days_of_month[4];
  uint8_t months[2];
} cron_expr;

// Reads "second minute hour day-of-month month day-of-week": exactly six fields separated by blanks, at most 255 bytes.
// A field is a comma list of `*`, a number, a range `a-b`, or one of these with `/step`; months and days of the week
// may be named (JAN, mon), 7 is Sunday too, and `?` may stand for a whole day field. Both day fields must match. Tabs
// and line breaks are dropped without separating.
//
// `*error` becomes null, or a static text that says what is wrong; `error` itself may be null. After an error the
// target, unless it is null, is an expression that never matches.
void cron_parse_expr(const char* expression, cron_expr* target, const char** error);

// The earliest matching second strictly later than `date`, both in seconds since the epoch, UTC. -1 when the expression
// never matches (30 February), when the match does not fit into time_t, or when `expr` is null. Every expression that
// matches at all does so within 40 years. The expression is not changed.
time_t cron_next(cron_expr* expr, time_t date);

#ifdef __cplusplus
}
#endif
