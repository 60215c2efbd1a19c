// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent/ServiceAnswers.h"

namespace {

using Answer = ServiceAnswers::Answer;
using KX::Property::Value;

void add(ServiceAnswers& answers, const char* json) {
  Value result;
  ASSERT_TRUE(result.fromJson(json).isSuccess());
  answers.add(result);
}

TEST(ServiceAnswersTest, RefusedSilentAndNotAskedAreToldApart) {
  ServiceAnswers answers;
  add(answers, R"({"nodes":[
      {"ipAddress":"10.0.0.1","services":[{"service":"ping","successful":false,"reason":"No answer"},
                                          {"service":"http","successful":false,"reason":"Connection refused"}]},
      {"ipAddress":"10.0.0.2","services":[{"service":"http","successful":false,"reason":"No answer"}]}]})");
  EXPECT_EQ(answers.of("10.0.0.1"), Answer::REFUSED);
  EXPECT_EQ(answers.of("10.0.0.2"), Answer::SILENT);
  EXPECT_EQ(answers.of("10.0.0.3"), Answer::NOT_ASKED);
}

TEST(ServiceAnswersTest, ARefusalStandsWhateverComesLater) {
  ServiceAnswers answers;
  add(answers,
      R"({"nodes":[{"ipAddress":"10.0.0.1","services":[{"successful":false,"reason":"Connection refused"}]}]})");
  add(answers, R"({"nodes":[{"ipAddress":"10.0.0.1","services":[{"successful":false,"reason":"No answer"}]}]})");
  EXPECT_EQ(answers.of("10.0.0.1"), Answer::REFUSED);
}

TEST(ServiceAnswersTest, AnythingElseIsNoAnswer) {
  ServiceAnswers answers;
  add(answers, R"({"nodes":"none"})");
  EXPECT_EQ(answers.of(""), Answer::NOT_ASKED);
}

}  // namespace
