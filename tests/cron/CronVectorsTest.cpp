// SPDX-License-Identifier: Apache-2.0
// Known answers, one JSON object a line: "expression", "error" (null or the text), "cases" ([date, next match] each).
#include <ccronexpr.h>
#include <gtest/gtest.h>
#include <rapidjson/reader.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "tests/SourceFolder.h"

namespace {

struct Vector {
  std::string expression;
  std::optional<std::string> error;
  std::vector<std::int64_t> times;  // date and next match in turn
};

class VectorHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, VectorHandler> {
 public:
  const Vector& vector() const { return vector_; }

  bool Key(const char* text, rapidjson::SizeType length, bool) {
    isError_ = std::string(text, length) == "error";
    return true;
  }

  bool String(const char* text, rapidjson::SizeType length, bool) {
    (isError_ ? vector_.error.emplace() : vector_.expression).assign(text, length);
    return true;
  }

  bool Int(int value) { return Int64(value); }
  bool Uint(unsigned value) { return Int64(value); }
  bool Uint64(std::uint64_t value) { return Int64(static_cast<std::int64_t>(value)); }
  bool Int64(std::int64_t value) {
    vector_.times.push_back(value);
    return true;
  }

 private:
  Vector vector_;
  bool isError_ = false;
};

struct Counts {
  int expressions = 0;
  int errors = 0;
  int cases = 0;
};

bool fitsTimeType(std::int64_t seconds) {
  return seconds >= std::numeric_limits<time_t>::min() && seconds <= std::numeric_limits<time_t>::max();
}

void expectTimes(cron_expr& expression, const std::vector<std::int64_t>& times, Counts& counts) {
  for (std::size_t i = 0; i + 1 < times.size(); i += 2) {
    if (!fitsTimeType(times[i]) || !fitsTimeType(times[i + 1])) continue;
    ++counts.cases;
    EXPECT_EQ(times[i + 1], cron_next(&expression, static_cast<time_t>(times[i]))) << "after " << times[i];
  }
}

void expectVector(const Vector& vector, Counts& counts) {
  SCOPED_TRACE(vector.expression);
  ++counts.expressions;
  cron_expr expression;
  const char* error = "not set";
  cron_parse_expr(vector.expression.c_str(), &expression, &error);
  if (vector.error) {
    ++counts.errors;
    EXPECT_STREQ(vector.error->c_str(), error);
    return;
  }
  ASSERT_STREQ(nullptr, error);
  expectTimes(expression, vector.times, counts);
}

TEST(CronVectorsTest, GivesEveryKnownAnswer) {
  std::ifstream file(std::string(KX::Tests::SOURCE_FOLDER) + "/cron/vectors.jsonl");
  ASSERT_TRUE(file.is_open());
  Counts counts;
  for (std::string line; std::getline(file, line);) {
    VectorHandler handler;
    rapidjson::InsituStringStream stream(line.data());
    ASSERT_TRUE(rapidjson::Reader().Parse<rapidjson::kParseInsituFlag>(stream, handler)) << counts.expressions;
    expectVector(handler.vector(), counts);
  }
  EXPECT_EQ(1021, counts.expressions);
  EXPECT_EQ(262, counts.errors);
  EXPECT_EQ(sizeof(time_t) == 8 ? 4277 : 2938, counts.cases);
}

}  // namespace
