// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "discovery/common/Validation.h"
#include "platform/testing/Corpus.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/discovery/common/Json.h"

namespace KX::NMS::Discovery {
namespace {

using Property::Value;

class ValidationWhenTest : public testing::Test {
 protected:
  // The error text, or the cron specification and the next run in UTC: "0 0 3 * * * at 2026-01-02T03:00:00.000Z".
  std::string check(const Value& schedule) {
    Value description = json(R"({"id":"nightly"})");
    description["schedule"] = schedule;
    return checkDescription(description);
  }
  std::string check(const char* schedule) { return check(json(schedule)); }

  static std::string checkDescription(const Value& description) {
    String specification = "untouched";
    Clock nextRun(7);
    const XCode result = validateJobDescriptionWhen(description, specification, nextRun);
    if (result.isErr()) {
      EXPECT_EQ(result.code(), 1);
      EXPECT_EQ(specification, "untouched");
      EXPECT_EQ(nextRun, Clock(7));
      Testing::addToCorpus(result.toString());
      return result.toString().c_str();
    }
    return std::string(specification.c_str()) + " at " + nextRun.utc().toString(Clock::MACHINE).c_str();
  }

  Testing::VirtualEventLoop loop_{Clock("2026-01-01T12:00:00.250Z"_s, Clock::UTC, 0)};
};

TEST_F(ValidationWhenTest, StringIsACronSpecification) {
  EXPECT_EQ(check(R"("30 15 3 * * *")"), "30 15 3 * * * at 2026-01-02T03:15:30.000Z");
}

TEST_F(ValidationWhenTest, FiveFieldsAreASpecificationWithoutSeconds) {
  EXPECT_EQ(check(R"("15 3 * * *")"), "0 15 3 * * * at 2026-01-02T03:15:00.000Z");
  EXPECT_EQ(check(R"({"cron":"15 3 * * *"})"), "0 15 3 * * * at 2026-01-02T03:15:00.000Z");
  EXPECT_EQ(check(R"("  15   3 * * *  ")"), "0   15   3 * * *   at 2026-01-02T03:15:00.000Z");
}

TEST_F(ValidationWhenTest, WhiteSpaceOtherThanBlanksSeparatesNoFields) {
  EXPECT_EQ(check(R"("1\t5 3 * * *")"), "0 1\t5 3 * * * at 2026-01-02T03:15:00.000Z");
  EXPECT_EQ(check(R"("15\t3 * * * *")"), "Invalid cron specification 0 15\t3 * * * *: Specified range exceeds maximum");
}

TEST_F(ValidationWhenTest, NextMatchIsStrictlyAfterNow) {
  loop_.setNow(Clock("2026-01-01T12:00:00Z"_s, Clock::UTC, 0));
  EXPECT_EQ(check(R"("0 0 12 * * *")"), "0 0 12 * * * at 2026-01-02T12:00:00.000Z");
  EXPECT_EQ(check(R"("* * * * * *")"), "* * * * * * at 2026-01-01T12:00:01.000Z");
}

TEST_F(ValidationWhenTest, CronIsInUtcWhateverTheDevicesZone) {
  setenv("TZ", "Asia/Tokyo", 1);
  EXPECT_EQ(check(R"("0 0 3 * * *")"), "0 0 3 * * * at 2026-01-02T03:00:00.000Z");
  setenv("TZ", "UTC", 1);
}

TEST_F(ValidationWhenTest, FirstRunNowIsThePresent) {
  EXPECT_EQ(check(R"({"firstRun":"now"})"), " at 2026-01-01T12:00:00.250Z");
}

TEST_F(ValidationWhenTest, FirstRunTimeIsTakenAsItIs) {
  EXPECT_EQ(check(R"({"firstRun":"2027-05-06T07:08:09.5+02:00"})"), " at 2027-05-06T05:08:09.500Z");
  EXPECT_EQ(check(R"({"firstRun":"1999-12-31T23:59:59Z"})"), " at 1999-12-31T23:59:59.000Z");
}

TEST_F(ValidationWhenTest, FirstRunGoesBeforeTheNextMatch) {
  EXPECT_EQ(check(R"({"cron":"0 0 3 * * *","firstRun":"now"})"), "0 0 3 * * * at 2026-01-01T12:00:00.250Z");
}

TEST_F(ValidationWhenTest, TimesBeyond2038AreTakenAndFound) {
  EXPECT_EQ(check(R"({"firstRun":"2038-01-19T03:14:08Z"})"), " at 2038-01-19T03:14:08.000Z");
  EXPECT_EQ(check(R"({"firstRun":"2126-01-01T00:00:00Z"})"), " at 2126-01-01T00:00:00.000Z");
  loop_.setNow(Clock("2038-01-19T03:14:07Z"_s, Clock::UTC, 0));
  EXPECT_EQ(check(R"("* * * * * *")"), "* * * * * * at 2038-01-19T03:14:08.000Z");
  loop_.setNow(Clock("2106-02-07T06:28:15.900Z"_s, Clock::UTC, 0));
  EXPECT_EQ(check(R"("* * * * * *")"), "* * * * * * at 2106-02-07T06:28:16.000Z");
  EXPECT_EQ(check(R"("0 0 3 29 2 *")"), "0 0 3 29 2 * at 2108-02-29T03:00:00.000Z");
}

TEST_F(ValidationWhenTest, WithoutCronTheJobRunsOnce) {
  EXPECT_EQ(check(R"({"firstRun":"now","colour":"blue"})"), " at 2026-01-01T12:00:00.250Z");
}

TEST_F(ValidationWhenTest, MissingScheduleIsRefused) {
  EXPECT_EQ(checkDescription(json(R"({"id":"nightly"})")), "Expecting schedule");
  EXPECT_EQ(checkDescription(Value()), "Expecting schedule");
}

TEST_F(ValidationWhenTest, ScheduleOfAnotherFormIsRefused) {
  for (const char* schedule : {"null", "7", "true", "[]", R"(["0 0 3 * * *"])", "{}", R"("")", R"({"every":"day"})"}) {
    EXPECT_EQ(check(schedule), "Expecting schedule") << schedule;
  }
}

TEST_F(ValidationWhenTest, CronOrFirstRunOfAnotherTypeIsRefused) {
  for (const char* schedule :
       {R"({"cron":7})", R"({"cron":null})", R"({"cron":""})", R"({"cron":["0 0 3 * * *"],"firstRun":"now"})",
        R"({"firstRun":7})", R"({"firstRun":null})", R"({"firstRun":true,"cron":"0 0 3 * * *"})"}) {
    EXPECT_EQ(check(schedule), "Expecting schedule") << schedule;
  }
}

TEST_F(ValidationWhenTest, CronSpecificationThatDoesNotParseIsRefusedWithTheReason) {
  EXPECT_EQ(check(R"("60 0 3 * * *")"), "Invalid cron specification 60 0 3 * * *: Specified range exceeds maximum");
  EXPECT_EQ(check(R"("whenever")"),
            "Invalid cron specification whenever: Invalid number of fields, expression must consist of 6 fields");
  EXPECT_EQ(check(R"({"cron":"0 0 3 * * x","firstRun":"now"})"),
            "Invalid cron specification 0 0 3 * * x: Unsigned integer parse error 1");
}

TEST_F(ValidationWhenTest, ErrorsNameTheSpecificationInItsSixFieldForm) {
  EXPECT_EQ(check(R"("60 3 * * *")"), "Invalid cron specification 0 60 3 * * *: Specified range exceeds maximum");
}

TEST_F(ValidationWhenTest, SpecificationWithANulIsRefusedAsAWhole) {
  EXPECT_EQ(check(R"("0 0 3 * * *\u0000 and more")"),
            "Invalid cron specification 0 0 3 * * *\\x00 and more: embedded NUL");
}

TEST_F(ValidationWhenTest, SpecificationThatNeverMatchesIsRefused) {
  EXPECT_EQ(check(R"("0 0 0 30 2 *")"), "Cron specification 0 0 0 30 2 * never matches");
  EXPECT_EQ(check(R"("0 0 31 4 *")"), "Cron specification 0 0 0 31 4 * never matches");
  EXPECT_EQ(check(R"({"cron":"0 0 0 30 2 *","firstRun":"now"})"), "Cron specification 0 0 0 30 2 * never matches");
}

TEST_F(ValidationWhenTest, FirstRunThatIsNoTimeIsRefused) {
  EXPECT_EQ(check(R"({"firstRun":"tomorrow"})"), "Invalid first run time: tomorrow");
  EXPECT_EQ(check(R"({"firstRun":""})"), "Invalid first run time: ");
  EXPECT_EQ(check(R"({"firstRun":"now\u0000x"})"), "Invalid first run time: now\\x00x");
  EXPECT_EQ(check(R"({"firstRun":"Now"})"), "Invalid first run time: Now");
  EXPECT_EQ(check(R"({"cron":"0 0 3 * * *","firstRun":"2026-02-30T00:00:00Z"})"),
            "Invalid first run time: 2026-02-30T00:00:00Z");
}

TEST_F(ValidationWhenTest, CronIsCheckedBeforeFirstRun) {
  EXPECT_EQ(check(R"({"cron":"x","firstRun":"x"})"),
            "Invalid cron specification x: Invalid number of fields, expression must consist of 6 fields");
}

}  // namespace
}  // namespace KX::NMS::Discovery
