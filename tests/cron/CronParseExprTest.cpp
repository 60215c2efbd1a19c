// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/cron/Parsed.h"

namespace {

constexpr const char* kFieldsError = "Invalid number of fields, expression must consist of 6 fields";

const char* errorOf(const std::string& expression) {
  cron_expr ignored;
  const char* error = "not set";
  cron_parse_expr(expression.c_str(), &ignored, &error);
  return error;
}

bool isSame(const std::string& left, const std::string& right) {
  const cron_expr a = parsed(left);
  const cron_expr b = parsed(right);
  return std::memcmp(&a, &b, sizeof a) == 0;
}

TEST(CronExprTest, HasTheLayoutThatCallersCompiledAgainst) {
  EXPECT_EQ(26U, sizeof(cron_expr));
  EXPECT_EQ(0U, offsetof(cron_expr, seconds));
  EXPECT_EQ(8U, offsetof(cron_expr, minutes));
  EXPECT_EQ(16U, offsetof(cron_expr, hours));
  EXPECT_EQ(19U, offsetof(cron_expr, days_of_week));
  EXPECT_EQ(20U, offsetof(cron_expr, days_of_month));
  EXPECT_EQ(24U, offsetof(cron_expr, months));
}

TEST(CronExprTest, HoldsValueNAsBitN) {
  const cron_expr expression = parsed("0,59 8 23 1,31 1,12 0,6");
  const std::array<std::uint8_t, 26> bytes = {1, 0, 0,    0,    0, 0, 0, 8,    0, 1, 0, 0, 0, 0, 0, 0,  //
                                              0, 0, 0x80, 0x41, 2, 0, 0, 0x80, 1, 8};
  EXPECT_EQ(0, std::memcmp(bytes.data(), &expression, bytes.size()));
}

TEST(CronParseExprTest, SaysWhichArgumentIsNull) {
  cron_expr target;
  const char* error = nullptr;
  cron_parse_expr(nullptr, &target, &error);
  EXPECT_STREQ("Invalid NULL expression", error);
  cron_parse_expr("* * * * * *", nullptr, &error);
  EXPECT_STREQ("Invalid NULL target", error);
  cron_parse_expr(nullptr, nullptr, &error);
  EXPECT_STREQ("Invalid NULL expression", error);
}

TEST(CronParseExprTest, NeedsNoPlaceForTheError) {
  cron_expr target;
  cron_parse_expr("0 0 0 1 1 *", &target, nullptr);
  EXPECT_EQ(1, target.seconds[0]);
  cron_parse_expr("nonsense", &target, nullptr);
  cron_parse_expr(nullptr, nullptr, nullptr);
}

TEST(CronParseExprTest, ClearsTheErrorOfAnEarlierCall) { EXPECT_STREQ(nullptr, errorOf("* * * * * *")); }

TEST(CronParseExprTest, LeavesAnExpressionThatNeverMatchesAfterAnError) {
  cron_expr expression = parsed("* * * * * *");
  cron_parse_expr("* * * * * 8", &expression, nullptr);
  EXPECT_EQ(-1, cron_next(&expression, 0));
  expression = parsed("* * * * * *");
  cron_parse_expr(nullptr, &expression, nullptr);
  EXPECT_EQ(-1, cron_next(&expression, 0));
}

TEST(CronParseExprTest, TakesExpressionsOfUpTo255Bytes) {
  const std::string expression = "0 0 0 1 1 *";
  EXPECT_STREQ(nullptr, errorOf(expression + std::string(255 - expression.size(), ' ')));
  EXPECT_STREQ(kFieldsError, errorOf(expression + std::string(256 - expression.size(), ' ')));
  EXPECT_STREQ(kFieldsError, errorOf(expression + std::string(1U << 20U, '\t')));
}

TEST(CronParseExprTest, SeparatesFieldsByBlanksOnly) {
  EXPECT_TRUE(isSame("  1  2 3   4 5 6  ", "1 2 3 4 5 6"));
  EXPECT_TRUE(isSame("1\t2 3\n4 1\v6 1\f2 1\r2 M\tON", "12 34 16 12 12 MON"));
  EXPECT_TRUE(isSame("1 \t 2 3 4 5 6", "1 2 3 4 5 6"));
  EXPECT_STREQ(kFieldsError, errorOf("1\t2\t3\t4\t5\t6"));
}

TEST(CronParseExprTest, WantsExactlySixFields) {
  EXPECT_STREQ(kFieldsError, errorOf(""));
  EXPECT_STREQ(kFieldsError, errorOf("* * * * *"));
  EXPECT_STREQ(kFieldsError, errorOf("* * * * * * *"));
  EXPECT_STREQ(kFieldsError, errorOf("@daily"));
}

TEST(CronParseExprTest, IgnoresEmptyPieces) {
  EXPECT_TRUE(isSame(",1,,2, * * * * *", "1,2 * * * * *"));
  EXPECT_TRUE(isSame("1--5 * * * * *", "1-5 * * * * *"));
  EXPECT_TRUE(isSame("-1-5- * * * * *", "1-5 * * * * *"));
  EXPECT_TRUE(isSame("/*//5/ * * * * *", "*/5 * * * * *"));
}

TEST(CronParseExprTest, ReadsNumbersWithAPlusAndLeadingZeros) {
  EXPECT_TRUE(isSame("+5 007 +0000000000000000000023 * * *", "5 7 23 * * *"));
  EXPECT_STREQ("Unsigned integer parse error 1", errorOf("+ * * * * *"));
  EXPECT_STREQ("Unsigned integer parse error 1", errorOf("++1 * * * * *"));
  EXPECT_STREQ("Unsigned integer parse error 4", errorOf("*/-1 * * * * *"));
}

TEST(CronParseExprTest, RunsAStartWithAStepToTheMaximum) {
  EXPECT_TRUE(isSame("50/4 * * * * *", "50,54,58 * * * * *"));
  EXPECT_TRUE(isSame("* * * * * 1/2", "* * * * * MON,WED,FRI,SUN"));
  EXPECT_TRUE(isSame("* * * 29/1 11/1 *", "* * * 29-31 11-12 *"));
}

TEST(CronParseExprTest, TakesTheFirstValueForAStepBeyondTheRange) {
  EXPECT_TRUE(isSame("7-9/2147483647 */60 * * * *", "7 0 * * * *"));
}

TEST(CronParseExprTest, CountsSundayAs0And7) {
  EXPECT_TRUE(isSame("* * * * * 7", "* * * * * 0"));
  EXPECT_TRUE(isSame("* * * * * 5-7", "* * * * * 0,5,6"));
  EXPECT_TRUE(isSame("* * * * * 0-7", "* * * * * *"));
}

TEST(CronParseExprTest, ReadsNamesInAnyLetterCaseInTheirOwnField) {
  EXPECT_TRUE(isSame("0 0 0 1 jan,Feb,mAR,APR,may,jun sun-wed", "0 0 0 1 1-6 0-3"));
  EXPECT_TRUE(isSame("0 0 0 1 jul-Dec/2 thu,fri,sat", "0 0 0 1 7-12/2 4-6"));
  EXPECT_TRUE(isSame("0 0 0 1 +1JAN *", "0 0 0 1 11 *"));
  EXPECT_STREQ("Unsigned integer parse error 1", errorOf("0 0 0 1 MON *"));
  EXPECT_STREQ("Unsigned integer parse error 1", errorOf("0 0 0 1 * JAN"));
  EXPECT_STREQ("Unsigned integer parse error 1", errorOf("0 0 0 1 * MONDAY"));
  EXPECT_STREQ("Specified range exceeds maximum", errorOf("0 0 0 1 * MONTUE"));
}

TEST(CronParseExprTest, TakesAQuestionMarkForAWholeDayFieldOnly) {
  EXPECT_TRUE(isSame("* * * ? * ?", "* * * * * *"));
  EXPECT_STREQ("Unsigned integer parse error 1", errorOf("* * * ?,1 * *"));
  EXPECT_STREQ("Unsigned integer parse error 1", errorOf("* * * * * ?/2"));
  EXPECT_STREQ("Unsigned integer parse error 1", errorOf("* * * * ? *"));
  EXPECT_STREQ("Unsigned integer parse error 1", errorOf("? * * * * *"));
}

TEST(CronParseExprTest, ReportsTheFirstErrorOfAnItem) {
  const std::vector<std::pair<std::string, const char*>> items = {
      {"/", "Incrementer must have two fields"},
      {"1/2/3", "Incrementer must have two fields"},
      {"1-2-3/x/y", "Incrementer must have two fields"},
      {"-", "Specified range requires two fields"},
      {"1-2-3/x", "Specified range requires two fields"},
      {"x-/0", "Specified range requires two fields"},
      {"x/0", "Unsigned integer parse error 1"},
      {"2147483648", "Unsigned integer parse error 1"},
      {"x-y/0", "Unsigned integer parse error 2"},
      {"*-5", "Unsigned integer parse error 2"},
      {"99-y/0", "Unsigned integer parse error 3"},
      {"32-0/0", "Specified range exceeds maximum"},
      {"0-32/0", "Specified range exceeds maximum"},
      {"2147483647/x", "Specified range exceeds maximum"},
      {"5-0/0", "Specified range is less than minimum"},
      {"0/x", "Specified range is less than minimum"},
      {"5-4/x", "Specified range start exceeds range end"},
      {"5-6/x", "Unsigned integer parse error 4"},
      {"*/2147483648", "Unsigned integer parse error 4"},
      {"*/0", "Incrementer may not be zero"},
  };
  for (const auto& [item, error] : items) EXPECT_STREQ(error, errorOf("0 0 0 " + item + " * *")) << item;
}

TEST(CronParseExprTest, ReportsTheFirstItemAndTheFirstFieldThatAreWrong) {
  EXPECT_STREQ("Incrementer may not be zero", errorOf("1,*/0,60,x * * * * *"));
  EXPECT_STREQ("Specified range exceeds maximum", errorOf("* 60 , */0 x 1-"));
  EXPECT_STREQ("Comma split error", errorOf("* * ,, */0 x 1-"));
  EXPECT_STREQ(kFieldsError, errorOf("60 x , */0 *"));
}

TEST(CronParseExprTest, SurvivesAnyBytes) {
  const std::set<std::string> texts = {kFieldsError,
                                       "Comma split error",
                                       "Incrementer must have two fields",
                                       "Specified range requires two fields",
                                       "Unsigned integer parse error 1",
                                       "Unsigned integer parse error 2",
                                       "Unsigned integer parse error 3",
                                       "Unsigned integer parse error 4",
                                       "Specified range exceeds maximum",
                                       "Specified range is less than minimum",
                                       "Specified range start exceeds range end",
                                       "Incrementer may not be zero"};
  const std::string likely = "0123456789*/-,+? \tJANMON";
  std::mt19937 random(1);  // NOLINT: the same bytes in every run
  std::set<std::string> seen;
  for (int round = 0; round < 200000; ++round) {
    std::string text = round % 2 == 0 ? "" : "0 0 0 1 1 *";
    text.resize(text.size() + random() % (round % 100 == 0 ? 400 : 12), ' ');
    for (char& c : text)
      if (round % 2 == 0 || random() % 4 == 0)
        c = random() % 8 == 0 ? static_cast<char>(random() % 256) : likely[random() % likely.size()];
    cron_expr expression;
    const char* error = "not set";
    cron_parse_expr(text.c_str(), &expression, &error);
    if (error == nullptr)
      ASSERT_NE(0, cron_next(&expression, 0)) << text;
    else
      ASSERT_EQ(1U, texts.count(error)) << text << ": " << error;
    seen.insert(error == nullptr ? "" : error);
  }
  EXPECT_EQ(texts.size() + 1, seen.size());
}

}  // namespace
