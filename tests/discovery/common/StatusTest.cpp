// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "discovery/common/Status.h"
#include "tests/discovery/common/Json.h"
#include "tests/discovery/common/Rows.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Property::Value RESULT = json(R"({"nodes":[]})");

Status statusIn(State state) {
  Status status;
  const auto change = [&] {
    switch (state) {
      case State::IDLE:
        return true;
      case State::RUNNING:
        return status.start();
      case State::FAILED:
        return status.start() && status.failed("first");
      case State::SUCCESSFUL:
        return status.start() && status.successful(RESULT);
      case State::CANCELLED:
        return status.start() && status.cancel();
    }
    return false;
  };
  EXPECT_TRUE(change());
  EXPECT_EQ(status.state(), state);
  return status;
}

TEST(StatusTest, NewOneIsIdleWithoutTextAndResult) {
  const Status status;
  EXPECT_EQ(status.state(), State::IDLE);
  EXPECT_TRUE(status.isIdle());
  EXPECT_EQ(status.text(), "");
  EXPECT_FALSE(status.result().isValid());
}

enum class Operation { START, CANCEL, SUCCESSFUL, FAILED };

bool apply(Operation operation, Status& status) {
  switch (operation) {
    case Operation::START:
      return status.start();
    case Operation::CANCEL:
      return status.cancel();
    case Operation::SUCCESSFUL:
      return status.successful(json("[1]"));
    case Operation::FAILED:
      return status.failed("late");
  }
  return false;
}

struct Transition {
  State from;
  Operation operation;
  bool isAccepted;
  State to;
};

constexpr Transition TRANSITIONS[] = {
    {State::IDLE, Operation::START, true, State::RUNNING},
    {State::IDLE, Operation::CANCEL, false, State::IDLE},
    {State::IDLE, Operation::SUCCESSFUL, false, State::IDLE},
    {State::IDLE, Operation::FAILED, true, State::FAILED},
    {State::RUNNING, Operation::START, false, State::RUNNING},
    {State::RUNNING, Operation::CANCEL, true, State::CANCELLED},
    {State::RUNNING, Operation::SUCCESSFUL, true, State::SUCCESSFUL},
    {State::RUNNING, Operation::FAILED, true, State::FAILED},
    {State::FAILED, Operation::START, false, State::FAILED},
    {State::FAILED, Operation::CANCEL, false, State::FAILED},
    {State::FAILED, Operation::SUCCESSFUL, false, State::FAILED},
    {State::FAILED, Operation::FAILED, false, State::FAILED},
    {State::SUCCESSFUL, Operation::START, false, State::SUCCESSFUL},
    {State::SUCCESSFUL, Operation::CANCEL, false, State::SUCCESSFUL},
    {State::SUCCESSFUL, Operation::SUCCESSFUL, false, State::SUCCESSFUL},
    {State::SUCCESSFUL, Operation::FAILED, false, State::SUCCESSFUL},
    {State::CANCELLED, Operation::START, false, State::CANCELLED},
    {State::CANCELLED, Operation::CANCEL, false, State::CANCELLED},
    {State::CANCELLED, Operation::SUCCESSFUL, false, State::CANCELLED},
    {State::CANCELLED, Operation::FAILED, false, State::CANCELLED},
};

TEST(StatusTest, EveryOperationInEveryStateChangesItOrIsRefused) {
  for (const Transition& transition : TRANSITIONS) {
    SCOPED_TRACE(testing::Message() << static_cast<int>(transition.from) << " op "
                                    << static_cast<int>(transition.operation));
    Status status = statusIn(transition.from);
    EXPECT_EQ(apply(transition.operation, status), transition.isAccepted);
    EXPECT_EQ(status.state(), transition.to);
  }
}

TEST(StatusTest, RefusedEndLeavesTextAndResultAsTheyWere) {
  Status failed = statusIn(State::FAILED);
  EXPECT_FALSE(failed.failed("late"));
  EXPECT_FALSE(failed.successful(json("[1]")));
  EXPECT_EQ(failed.text(), "first");
  EXPECT_FALSE(failed.result().isValid());
  Status successful = statusIn(State::SUCCESSFUL);
  EXPECT_FALSE(successful.successful(json("[1]")));
  EXPECT_FALSE(successful.failed("late"));
  EXPECT_EQ(successful.result(), RESULT);
  EXPECT_EQ(successful.text(), "");
}

TEST(StatusTest, ResetMakesEveryStateIdleWithoutTextAndResult) {
  for (const State state : {State::IDLE, State::RUNNING, State::FAILED, State::SUCCESSFUL, State::CANCELLED}) {
    Status status = statusIn(state);
    status.reset();
    EXPECT_EQ(status.state(), State::IDLE);
    EXPECT_EQ(status.text(), "");
    EXPECT_FALSE(status.result().isValid());
    EXPECT_TRUE(status.start());
  }
}

TEST(StatusTest, CopyMirrorsStateTextAndResult) {
  Status mirror = statusIn(State::FAILED);
  mirror = statusIn(State::SUCCESSFUL);
  EXPECT_EQ(mirror.state(), State::SUCCESSFUL);
  EXPECT_EQ(mirror.text(), "");
  EXPECT_EQ(mirror.result(), RESULT);
  mirror = statusIn(State::FAILED);
  EXPECT_EQ(mirror.text(), "first");
}

TEST(StatusTest, ValueHoldsTheNameOfTheState) {
  EXPECT_EQ(statusIn(State::IDLE).toPropertyValue().toJson(), R"({"status":"idle"})");
  EXPECT_EQ(statusIn(State::RUNNING).toPropertyValue().toJson(), R"({"status":"running"})");
  EXPECT_EQ(statusIn(State::CANCELLED).toPropertyValue().toJson(), R"({"status":"cancelled"})");
}

TEST(StatusTest, ValueLeavesTheResultOut) {
  EXPECT_EQ(statusIn(State::SUCCESSFUL).toPropertyValue().toJson(), R"({"status":"successful"})");
}

TEST(StatusTest, ValueHoldsTheReasonOnlyWhenThereIsOne) {
  EXPECT_EQ(statusIn(State::FAILED).toPropertyValue().toJson(), R"({"status":"failed","reason":"first"})");
  Status status;
  EXPECT_TRUE(status.failed(""));
  EXPECT_EQ(status.toPropertyValue().toJson(), R"({"status":"failed"})");
}

TEST(StatusTest, RowsAreStatusAndTheReasonWhenThereIsOne) {
  EXPECT_THAT(rowsOf(statusIn(State::RUNNING)), ElementsAre("0,0 Status: running"));
  EXPECT_THAT(rowsOf(statusIn(State::FAILED), {.level = 2, .column = 1}),
              ElementsAre("2,1 Status: failed", "2,1 Reason: first"));
}

TEST(StatusTest, TitleStandsInFrontOfTheLabels) {
  EXPECT_THAT(rowsOf(statusIn(State::FAILED), {}, "Last "),
              ElementsAre("0,0 Last Status: failed", "0,0 Last Reason: first"));
}

TEST(StatusTest, RowsBeyondTheLimitsAreLeftOut) {
  const Status status = statusIn(State::FAILED);
  EXPECT_THAT(rowsOf(status, {.maxLevel = 1, .level = 2}), IsEmpty());
  EXPECT_THAT(rowsOf(status, {.maxColumn = 1, .column = 2}), IsEmpty());
  EXPECT_EQ(rowsOf(status, {.maxLevel = 2, .level = 2, .maxColumn = 1, .column = 1}).size(), 2U);
}

}  // namespace
}  // namespace KX::NMS::Discovery
