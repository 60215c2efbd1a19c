// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ccronexpr.h>
#include <gtest/gtest.h>

#include <string>

// The parsed form of an expression that must be right.
inline cron_expr parsed(const std::string& expression) {
  cron_expr result;
  const char* error = "not set";
  cron_parse_expr(expression.c_str(), &result, &error);
  EXPECT_STREQ(nullptr, error) << expression;
  return result;
}
