// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "platform/monitor/Monitor.h"
#include "platform/testing/LogCapture.h"

namespace {

using KX::Testing::LogCapture;
using testing::ElementsAre;
using testing::IsEmpty;

class MonitorTest : public testing::Test {
 protected:
  LogCapture log_;
  RTD::Monitor monitor_{"discovery", 0, log_};
};

TEST_F(MonitorTest, WritesTracesUpToItsVerbosity) {
  for (unsigned verbosity = 0; verbosity <= 3; ++verbosity) {
    monitor_.setVerbosity(verbosity);
    EXPECT_EQ(monitor_.verbosity(), verbosity);
    log_.clear();
    for (unsigned level = 1; level <= 3; ++level) {
      EXPECT_EQ(monitor_.isEnabled(level), level <= verbosity);
      monitor_.trace(level, "", "level %u", level);
    }
    EXPECT_EQ(log_.entries().size(), verbosity);
  }
  EXPECT_THAT(log_.texts(), ElementsAre("level 1", "level 2", "level 3"));
}

TEST_F(MonitorTest, TracesCarryTheirLevelAsKind) {
  monitor_.setVerbosity(3);
  for (unsigned level = 1; level <= 3; ++level) monitor_.trace(level, "", "text");
  EXPECT_EQ(log_.entries()[0].kind, RTD::TRACE_1);
  EXPECT_EQ(log_.entries()[1].kind, RTD::TRACE_2);
  EXPECT_EQ(log_.entries()[2].kind, RTD::TRACE_3);
}

TEST_F(MonitorTest, TraceNeverPassesForALineOfFixedKind) {
  monitor_.setVerbosity(9);
  monitor_.trace(5, "", "text");
  EXPECT_EQ(log_.entries()[0].kind, RTD::TRACE_3);
}

TEST_F(MonitorTest, WritesLinesOfFixedKindAtEveryVerbosity) {
  monitor_.note(RTD::REFUSAL, "[Job a.0] ", "Cannot prepare in state %s", "running");
  monitor_.note(RTD::OUTCOME, "", "failed");
  monitor_.note(RTD::SUCCESS, "", "Scan succeeded");
  EXPECT_THAT(log_.lines(), ElementsAre("[Job a.0] Cannot prepare in state running", "failed", "Scan succeeded"));
  EXPECT_EQ(log_.entries()[0].kind, RTD::REFUSAL);
  EXPECT_EQ(log_.entries()[1].kind, RTD::OUTCOME);
  EXPECT_EQ(log_.entries()[2].kind, RTD::SUCCESS);
}

TEST_F(MonitorTest, LinesCarryMonitorPrefixAndText) {
  monitor_.setVerbosity(1);
  monitor_.trace(1, "[Scheduler] ", "%d%%", 100);
  EXPECT_EQ(log_.entries()[0].monitor, "discovery");
  EXPECT_EQ(log_.entries()[0].prefix, "[Scheduler] ");
  EXPECT_EQ(log_.entries()[0].text, "100%");
}

TEST_F(MonitorTest, LongTextsAreNotCut) {
  const std::string text(100000, 'x');
  monitor_.note(RTD::OUTCOME, "", "%s", text.c_str());
  EXPECT_EQ(log_.entries()[0].text, text);
}

TEST_F(MonitorTest, DisabledTraceIsNotFormatted) {
  int length = -1;
  monitor_.trace(1, "", "text%n", &length);
  EXPECT_EQ(length, -1);
  EXPECT_THAT(log_.lines(), IsEmpty());
}

}  // namespace
