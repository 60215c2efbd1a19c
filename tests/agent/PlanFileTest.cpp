// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "agent/PlanFile.h"

namespace {

using KX::Property::Value;

class PlanFileTest : public testing::Test {
 protected:
  ~PlanFileTest() override { unlink(path_); }
  XCode read(const char* text) {
    std::ofstream(path_) << text;
    return readPlanFile(path_, plan_);
  }

  char path_[32] = "/tmp/kx-plan-XXXXXX";
  const int descriptor_ = mkstemp(path_);
  const int closed_ = close(descriptor_);
  Value plan_ = Value("before");
};

TEST_F(PlanFileTest, AnArrayIsAPlan) {
  ASSERT_TRUE(read(R"([{"id":"a"}])").isSuccess());
  EXPECT_EQ(plan_.toJson(), R"([{"id":"a"}])");
}

TEST_F(PlanFileTest, AnythingElseIsRefusedAndLeavesThePlanUntouched) {
  const String context = String::format("cannot read the plan %s: ", path_);
  for (const char* text : {"", "{}", "[{]", "null"}) {
    const String error = read(text).toString();
    EXPECT_TRUE(error.view().starts_with(context)) << error.c_str();
  }
  EXPECT_EQ(plan_.toString(), "before");
}

TEST_F(PlanFileTest, APipeIsRefusedAtOnce) {
  unlink(path_);
  ASSERT_EQ(mkfifo(path_, 0600), 0);
  EXPECT_EQ(readPlanFile(path_, plan_).toString(),
            String::format("cannot read the plan %s: Not a regular file", path_));
}

TEST_F(PlanFileTest, AMissingFileIsNamed) {
  EXPECT_EQ(readPlanFile("/nowhere/plan", plan_).toString(),
            "cannot read the plan /nowhere/plan: No such file or directory");
}

}  // namespace
