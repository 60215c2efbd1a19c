// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "discovery/repository/NodeLimitNote.h"
#include "tests/discovery/common/DiscoveryLog.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class NodeLimitTest : public testing::Test {
 protected:
  KXLWPtr<Node> see(const String& mac, const String& ip) {
    return repository_.addDiscoveredNode(mac, ip, "LAN", "", false, Repository::UpdateExisting, &added_, &changed_);
  }

  Repository repository_{2};
  bool added_ = true;
  bool changed_ = true;
};

TEST_F(NodeLimitTest, IsAHundredThousandUnlessTheHostSaysOtherwise) {
  EXPECT_EQ(Repository().nodeLimit(), 100000U);
  EXPECT_EQ(repository_.nodeLimit(), 2U);
}

TEST_F(NodeLimitTest, NoFurtherNodeIsCreated) {
  EXPECT_NE(see("A", "1"), nullptr);
  EXPECT_NE(repository_.addManualNode("2", &added_), nullptr);
  EXPECT_TRUE(added_);
  EXPECT_EQ(repository_.addManualNode("3", &added_), nullptr);
  EXPECT_FALSE(added_);
  EXPECT_EQ(see("C", "4"), nullptr);
  EXPECT_FALSE(added_);
  EXPECT_FALSE(changed_);
  EXPECT_EQ(repository_.getNodes().size(), 2U);
  for (const char* ip : {"3", "4"}) EXPECT_EQ(repository_.getNodeByIpAddress(ip), nullptr);
  EXPECT_EQ(repository_.getMarkedNodes().size(), 2U);
}

TEST_F(NodeLimitTest, KnownNodesAreUpdatedAsEver) {
  see("A", "1");
  see("B", "2");
  EXPECT_NE(see("A", "3"), nullptr);
  EXPECT_TRUE(changed_);
  EXPECT_NE(see("C", "2"), nullptr) << "a known address with another physical one";
  EXPECT_NE(repository_.addManualNode("3", nullptr), nullptr);
  EXPECT_EQ(repository_.getNodes().size(), 2U);
}

TEST_F(NodeLimitTest, RemovedNodeMakesRoom) {
  see("A", "1");
  see("B", "2");
  repository_.removeNode("1");
  EXPECT_NE(see("C", "3"), nullptr);
  EXPECT_TRUE(added_);
  EXPECT_EQ(see("D", "4"), nullptr);
}

TEST_F(NodeLimitTest, OfZeroIsNone) {
  Repository repository(0);
  for (int i = 0; i < 1000; ++i) EXPECT_NE(repository.addManualNode(String::format("%d", i), nullptr), nullptr);
}

TEST_F(NodeLimitTest, IsNotedOnceForAllTheNodesOfAnOperation) {
  DiscoveryLog log(0);
  const String prefix = "[x] ";
  for (int operation = 0; operation < 2; ++operation) {
    NodeLimitNote note(repository_, prefix);
    note.take(see("A", "1"));
    EXPECT_THAT(log.takeKindsAndLines(), IsEmpty());
    note.take(nullptr);
    note.take(nullptr);
    EXPECT_THAT(log.takeKindsAndLines(), ElementsAre("4 [x] Node limit of 2 reached"));
  }
}

}  // namespace
}  // namespace KX::NMS::Discovery
