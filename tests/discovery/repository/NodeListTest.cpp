// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "discovery/repository/Repository.h"
#include "platform/testing/VirtualEventLoop.h"

namespace KX::NMS::Discovery {
namespace {

using Addresses = std::vector<std::string>;

class NodeListTest : public testing::Test {
 protected:
  void add(const std::string& ip) { static_cast<void>(repository_.addManualNode(ip.c_str(), nullptr)); }
  void setStatus(const std::string& ip, NodeStatus status) {
    static_cast<void>(repository_.setStatus(ip.c_str(), status, nullptr, nullptr));
  }
  static Addresses addressesOf(const KXVector<KXLWPtr<Node>>& nodes) {
    Addresses list;
    for (const KXLWPtr<Node>& node : nodes) list.emplace_back(node->ipAddress().c_str());
    return list;
  }
  Addresses all() const { return addressesOf(repository_.getNodes()); }
  Addresses marked() const { return addressesOf(repository_.getMarkedNodes()); }
  void exportAll() {
    for (const KXLWPtr<Node>& node : repository_.getNodes()) {
      node->clearRecentlyAdded();
      node->clearRecentlyChanged();
    }
    repository_.clearChangeMarks();
  }

  KX::Testing::VirtualEventLoop loop_;
  Repository repository_;
};

TEST_F(NodeListTest, AListThatIsHeldShowsNoGaps) {
  for (const char* ip : {"a", "b", "c", "d"}) add(ip);
  const auto& held = repository_.getNodes();
  repository_.removeNode("b");
  repository_.removeNode("a");
  ASSERT_EQ(held.size(), 2U);
  EXPECT_EQ(held[0]->ipAddress(), "c");
  repository_.removeNode("d");
  EXPECT_EQ(addressesOf(held), Addresses({"c"}));
}

TEST_F(NodeListTest, MarkedNodesComeInListOrderAndNotInThatOfTheirMarks) {
  for (const char* ip : {"a", "b", "c", "d"}) add(ip);
  exportAll();
  EXPECT_EQ(marked(), Addresses());
  setStatus("d", NodeStatus::UP);
  setStatus("a", NodeStatus::UP);
  setStatus("c", NodeStatus::DOWN);
  EXPECT_EQ(marked(), Addresses({"a", "c", "d"}));
  repository_.removeNode("c");
  EXPECT_EQ(marked(), Addresses({"a", "d"}));
}

TEST_F(NodeListTest, ANodeStaysMarkedWhileItHasAMarkLeft) {
  add("a");
  setStatus("a", NodeStatus::UP);
  repository_.getNodes()[0]->clearRecentlyAdded();
  repository_.clearChangeMarks();
  EXPECT_EQ(marked(), Addresses({"a"}));
  repository_.getNodes()[0]->clearRecentlyChanged();
  repository_.clearChangeMarks();
  EXPECT_EQ(marked(), Addresses());
}

TEST_F(NodeListTest, NodesThatComeAndGoWithoutAnExportLeaveNothingBehind) {
  for (int i = 0; i < 100; ++i) add("stays" + std::to_string(i));
  for (int i = 0; i < 10000; ++i) {
    add("comes and goes");
    repository_.removeNode("comes and goes");
  }
  EXPECT_EQ(marked().size(), 100U);
  EXPECT_EQ(all().size(), 100U);
}

TEST_F(NodeListTest, OrderAndMarksAreRightWhateverHappens) {
  std::mt19937 random(11);
  const auto pick = [&](unsigned count) { return static_cast<unsigned>(random() % count); };
  Addresses list;
  std::set<std::string> marks;
  for (int step = 0; step < 20000; ++step) {
    const std::string ip = std::to_string(pick(40));
    const bool isThere = std::find(list.begin(), list.end(), ip) != list.end();
    switch (pick(6)) {
      case 0:
      case 1:
        add(ip);
        if (!isThere) list.push_back(ip);
        if (!isThere) marks.insert(ip);
        break;
      case 2:
      case 3:
        repository_.removeNode(ip.c_str());
        std::erase(list, ip);
        marks.erase(ip);
        break;
      case 4: {
        bool changed = false;
        const NodeStatus status = pick(2) == 0 ? NodeStatus::UP : NodeStatus::DOWN;
        static_cast<void>(repository_.setStatus(ip.c_str(), status, nullptr, &changed));
        if (changed) marks.insert(ip);
        break;
      }
      default:
        if (pick(4) == 0)
          exportAll();
        else
          continue;
        marks.clear();
    }
    // Removals in a row, without a look in between, are what the list is made for.
    if (pick(5) != 0) continue;
    ASSERT_EQ(all(), list) << step;
    Addresses expected;
    std::copy_if(list.begin(), list.end(), std::back_inserter(expected),
                 [&](const std::string& address) { return marks.contains(address); });
    ASSERT_EQ(marked(), expected) << step;
  }
}

}  // namespace
}  // namespace KX::NMS::Discovery
