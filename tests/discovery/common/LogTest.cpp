// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "discovery/common/Log.h"
#include "tests/discovery/common/DiscoveryLog.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Speaker {
 public:
  void traceAt(unsigned level) { DISCOVERY_TRACE(level, "[Speaker] "_s, "level %u, call %d", level, ++calls_); }
  void note() { DISCOVERY_NOTE(REFUSAL, "[Speaker] "_s, "call %d", ++calls_); }
  int calls() const { return calls_; }

 private:
  int calls_ = 0;
};

TEST(LogTest, TraceLinesAreWrittenUpToTheVerbosity) {
  Speaker speaker;
  DiscoveryLog log(2);
  for (const unsigned level : {1U, 2U, 3U}) speaker.traceAt(level);
  EXPECT_THAT(log.takeKindsAndLines(), ElementsAre("1 [Speaker] level 1, call 1", "2 [Speaker] level 2, call 2"));
}

TEST(LogTest, NothingIsComputedForALineThatIsNotWritten) {
  Speaker speaker;
  const DiscoveryLog log(1);
  speaker.traceAt(2);
  EXPECT_EQ(speaker.calls(), 0);
}

TEST(LogTest, LinesOfFixedKindAreWrittenAtEveryVerbosity) {
  Speaker speaker;
  DiscoveryLog log(0);
  speaker.traceAt(1);
  speaker.note();
  EXPECT_THAT(log.takeKindsAndLines(), ElementsAre("4 [Speaker] call 1"));
}

TEST(LogTest, LibraryWithoutAMonitorWritesAndComputesNothing) {
  ASSERT_EQ(MON, nullptr);
  Speaker speaker;
  speaker.traceAt(1);
  speaker.note();
  EXPECT_EQ(speaker.calls(), 0);
  EXPECT_FALSE(isTracing(1));
}

TEST(LogTest, IsTracingFollowsTheVerbosity) {
  DiscoveryLog log(2);
  EXPECT_TRUE(isTracing(2));
  EXPECT_FALSE(isTracing(3));
  log.setVerbosity(3);
  EXPECT_TRUE(isTracing(3));
  EXPECT_THAT(log.takeLines(), IsEmpty());
}

}  // namespace
}  // namespace KX::NMS::Discovery
