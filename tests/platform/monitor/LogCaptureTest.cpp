// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/testing/LogCapture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(LogCaptureTest, KeepsLinesInTheirOrder) {
  KX::Testing::LogCapture log;
  EXPECT_THAT(log.lines(), IsEmpty());
  log.write({RTD::TRACE_1, "discovery", "[Job a.0] ", "Preparing..."});
  log.write({RTD::SUCCESS, "discovery", "", "Scan succeeded"});
  log.write({RTD::TRACE_1, "discovery", "[Job a.1] ", "Preparing..."});
  EXPECT_THAT(log.texts(), ElementsAre("Preparing...", "Scan succeeded", "Preparing..."));
  EXPECT_THAT(log.lines(), ElementsAre("[Job a.0] Preparing...", "Scan succeeded", "[Job a.1] Preparing..."));
}

TEST(LogCaptureTest, AnswersWhatWasLogged) {
  KX::Testing::LogCapture log;
  log.write({RTD::TRACE_1, "discovery", "[Job a.0] ", "Preparing..."});
  log.write({RTD::OUTCOME, "discovery", "[Job a.1] ", "Preparing..."});
  EXPECT_EQ(log.count("Preparing..."), 2U);
  EXPECT_EQ(log.count("Preparing"), 0U);
  EXPECT_TRUE(log.has("[Job a.0] Preparing..."));
  EXPECT_FALSE(log.has("Preparing..."));
  EXPECT_TRUE(log.has(RTD::OUTCOME, "[Job a.1] Preparing..."));
  EXPECT_FALSE(log.has(RTD::OUTCOME, "[Job a.0] Preparing..."));
  log.clear();
  EXPECT_EQ(log.count("Preparing..."), 0U);
}

TEST(LogCaptureTest, KeepsTextsUnescaped) {
  KX::Testing::LogCapture log;
  log.write({RTD::TRACE_3, "discovery", "", String("a\nb\x1b\0c", 6)});
  EXPECT_EQ(log.texts()[0], std::string("a\nb\x1b\0c", 6));
}

}  // namespace
