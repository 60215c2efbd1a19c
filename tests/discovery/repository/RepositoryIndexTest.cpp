// SPDX-License-Identifier: Apache-2.0
// Which node an address names when several carry it.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <vector>

#include "discovery/repository/Repository.h"
#include "tests/Effort.h"

namespace KX::NMS::Discovery {
namespace {

constexpr const char* A = "02:00:5E:00:00:0A";
constexpr const char* B = "02:00:5E:00:00:0B";
constexpr const char* C = "02:00:5E:00:00:0C";
constexpr const char* D = "02:00:5E:00:00:0D";

class RepositoryIndexTest : public testing::Test {
 protected:
  KXLWPtr<Node> see(const char* mac, const char* ip, const char* interface = "LAN") {
    return repository_.addDiscoveredNode(mac, ip, interface, "", false, Repository::UpdateExisting, nullptr, nullptr);
  }
  KXLWPtr<Node> at(const char* ip) const { return repository_.getNodeByIpAddress(ip); }

  Repository repository_;
};

TEST_F(RepositoryIndexTest, AddressBelongsToTheNodeThatEnteredItLast) {
  const KXLWPtr<Node> a = see(A, "1");
  const KXLWPtr<Node> b = see(B, "2");
  see(B, "1");
  EXPECT_EQ(at("1"), b);
  EXPECT_EQ(a->ipAddress(), "1");
  EXPECT_EQ(repository_.getNodes().size(), 2U);
}

TEST_F(RepositoryIndexTest, NodeThatLostItsAddressNeverRemovesTheOthersEntry) {
  const KXLWPtr<Node> a = see(A, "1");
  const KXLWPtr<Node> b = see(B, "2");
  see(B, "1");
  see(A, "3");
  EXPECT_EQ(at("1"), b);
  EXPECT_EQ(at("3"), a);
  EXPECT_EQ(at("2"), nullptr);
}

TEST_F(RepositoryIndexTest, WhenTheHolderMovesAwayTheOtherNodeIsReachableAgain) {
  const KXLWPtr<Node> a = see(A, "1");
  const KXLWPtr<Node> b = see(B, "2");
  see(B, "1");
  see(B, "3");
  EXPECT_EQ(at("1"), a);
  EXPECT_EQ(at("3"), b);
}

TEST_F(RepositoryIndexTest, FirstOtherNodeInListOrderInherits) {
  const KXLWPtr<Node> a = see(A, "1");
  const KXLWPtr<Node> b = see(B, "2");
  const KXLWPtr<Node> c = see(C, "3");
  const KXLWPtr<Node> d = see(D, "4");
  see(D, "1");
  see(B, "1");
  see(C, "1");
  EXPECT_EQ(at("1"), c);
  see(C, "3");
  EXPECT_EQ(at("1"), a);
  see(A, "5");
  EXPECT_EQ(at("1"), b);
  see(B, "6");
  EXPECT_EQ(at("1"), d);
  see(D, "7");
  EXPECT_EQ(at("1"), nullptr);
}

TEST_F(RepositoryIndexTest, NodesAtOneAddressAreRemovedOneAfterAnother) {
  const KXLWPtr<Node> a = see(A, "1");
  see(B, "2");
  see(B, "1");
  repository_.removeNode("1");
  ASSERT_EQ(repository_.getNodes().size(), 1U);
  EXPECT_EQ(repository_.getNodes()[0], a);
  EXPECT_EQ(at("1"), a);
  repository_.removeNode("1");
  EXPECT_TRUE(repository_.getNodes().isEmpty());
  EXPECT_EQ(at("1"), nullptr);
  repository_.removeNode("1");
}

TEST_F(RepositoryIndexTest, RemovedHeirLeavesNothingBehind) {
  see(A, "1");
  see(B, "2");
  see(B, "1");
  see(A, "3");
  repository_.removeNode("1");
  EXPECT_EQ(at("1"), nullptr);
  const KXLWPtr<Node> again = see(B, "1");
  EXPECT_EQ(at("1"), again);
  EXPECT_EQ(repository_.getNodes().size(), 2U);
}

// An update re-enters the address, whatever it changes.
TEST_F(RepositoryIndexTest, NodeThatIsUpdatedAtASharedAddressEntersItAnew) {
  const KXLWPtr<Node> a = see(A, "1");
  const KXLWPtr<Node> b = see(B, "2");
  see(B, "1");
  see(A, "1", "WLAN");
  EXPECT_EQ(at("1"), a);
  see(A, "3");
  EXPECT_EQ(at("1"), b);
}

TEST_F(RepositoryIndexTest, ManualNodeMayInheritAnAddress) {
  const KXLWPtr<Node> manual = repository_.addManualNode("1", nullptr);
  see(A, "2");
  see(A, "1");
  see(A, "3");
  EXPECT_EQ(at("1"), manual);
}

TEST_F(RepositoryIndexTest, PhysicalAddressThatIsReplacedIsForgotten) {
  const KXLWPtr<Node> first = see(A, "1");
  EXPECT_EQ(see(B, "1"), first);
  EXPECT_EQ(first->physicalAddress(), B);
  const KXLWPtr<Node> second = see(A, "2");
  EXPECT_FALSE(second == first);
  EXPECT_EQ(repository_.getNodes().size(), 2U);
  EXPECT_EQ(at("1"), first);
  EXPECT_EQ(at("2"), second);
  EXPECT_EQ(see(B, "1"), first);
  EXPECT_EQ(see(A, "2"), second);
}

TEST_F(RepositoryIndexTest, NodeWhosePhysicalAddressWasReplacedIsRemovedWhole) {
  see(A, "1");
  see(B, "1");
  repository_.removeNode("1");
  EXPECT_TRUE(repository_.getNodes().isEmpty());
  see(A, "1");
  see(B, "2");
  EXPECT_EQ(repository_.getNodes().size(), 2U);
}

// The rules again, as simply as they can be written.
class Model {
 public:
  struct Entry {
    std::string mac;
    std::string ip;
    std::string interface;
  };

  void see(const std::string& mac, const std::string& ip, const std::string& interface) {
    for (Entry* entry : list) {
      if (entry->mac != mac) continue;
      if (entry->ip == ip && entry->interface == interface) return;
      leave(entry);
      entry->ip = ip;
      entry->interface = interface;
      holders[ip] = entry;
      return;
    }
    const auto holder = holders.find(ip);
    if (holder != holders.end()) {
      holder->second->mac = mac;
      holder->second->interface = interface;
      return;
    }
    owned.push_back(std::make_unique<Entry>(Entry{mac, ip, interface}));
    list.push_back(owned.back().get());
    holders[ip] = list.back();
  }
  void remove(const std::string& ip) {
    const auto holder = holders.find(ip);
    if (holder == holders.end()) return;
    Entry* entry = holder->second;
    std::erase(list, entry);
    leave(entry);
  }

  std::vector<std::unique_ptr<Entry>> owned;
  std::vector<Entry*> list;
  std::map<std::string, Entry*> holders;

 private:
  void leave(Entry* entry) {
    if (holders.at(entry->ip) != entry) return;
    holders.erase(entry->ip);
    for (Entry* heir : list) {
      if (heir == entry || heir->ip != entry->ip) continue;
      holders[heir->ip] = heir;
      return;
    }
  }
};

TEST_F(RepositoryIndexTest, EveryNodeStaysReachableAndRemovableWhateverHappens) {
  std::mt19937 random(7);
  const auto pick = [&](unsigned count) { return static_cast<unsigned>(random() % count); };
  Model model;
  for (int step = 0; step < 20000; ++step) {
    const String ip = String::format("192.0.2.%u", pick(6));
    if (pick(5) == 0) {
      repository_.removeNode(ip);
      model.remove(ip.c_str());
    } else {
      const String mac = String::format("02:00:5E:00:00:0%u", pick(8));
      const char* interface = pick(2) == 0 ? "LAN" : "WLAN";
      see(mac.c_str(), ip.c_str(), interface);
      model.see(mac.c_str(), ip.c_str(), interface);
    }
    const auto& nodes = repository_.getNodes();
    ASSERT_EQ(nodes.size(), model.list.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      ASSERT_EQ(nodes[i]->physicalAddress(), model.list[i]->mac.c_str()) << step;
      ASSERT_EQ(nodes[i]->ipAddress(), model.list[i]->ip.c_str()) << step;
      const KXLWPtr<Node> holder = repository_.getNodeByIpAddress(nodes[i]->ipAddress());
      ASSERT_NE(holder.get(), nullptr) << step;
      ASSERT_EQ(holder->physicalAddress(), model.holders.at(model.list[i]->ip)->mac.c_str()) << step;
    }
  }
  while (!repository_.getNodes().isEmpty()) {
    const std::size_t before = repository_.getNodes().size();
    repository_.removeNode(repository_.getNodes()[0]->ipAddress());
    ASSERT_EQ(repository_.getNodes().size(), before - 1);
  }
}

constexpr int MANY = 40'000;

String addressOf(int node) { return String::format("10.0.%d.%d", node / 256, node % 256); }

// As many nodes as are many, and after them one with the address of the first, or with one of its own.
std::unique_ptr<Repository> manyNodes(bool withSharedAddress) {
  auto repository = std::make_unique<Repository>();
  const auto enter = [&](const char* mac, const String& ip) {
    repository->addDiscoveredNode(mac, ip, "LAN", "", false, Repository::UpdateExisting, nullptr, nullptr);
  };
  for (int i = 0; i < MANY; ++i) enter(String::format("02:%d", i).c_str(), addressOf(i));
  enter(A, "192.0.2.1");
  enter(A, withSharedAddress ? addressOf(0) : "192.0.2.2"_s);
  return repository;
}

TEST_F(RepositoryIndexTest, SharedAddressMakesNoRemovalAndNoMoveOfOthersDearer) {
  const auto work = [](Repository& repository) {
    for (int i = 1; i < MANY / 2; i += 2) {
      repository.removeNode(addressOf(i));
      const String mac = String::format("02:%d", i + 1);
      repository.addDiscoveredNode(mac, addressOf(MANY + i), "LAN", "", false, Repository::UpdateExisting, nullptr,
                                   nullptr);
    }
  };
  const double without = effortOf([] { return manyNodes(false); }, work);
  const double with = effortOf([] { return manyNodes(true); }, work);
  EXPECT_LT(with, 3 * without);
}

// Ten times as many take about ten times as long, where a walk over those at the address would take a hundred times.
TEST_F(RepositoryIndexTest, ManyNodesAtOneAddressLeaveItAsFastAsTheyCame) {
  const auto effort = [](int count) {
    const auto gather = [count] {
      auto repository = std::make_unique<Repository>();
      for (int step = 0; step < 2 * count; ++step) {
        const String ip = step < count ? addressOf(step) : "192.0.2.1"_s;
        repository->addDiscoveredNode(String::format("02:%d", step % count), ip, "LAN", "", false,
                                      Repository::UpdateExisting, nullptr, nullptr);
      }
      return repository;
    };
    return effortOf(gather, [count](Repository& repository) {
      for (int i = 0; i < count; ++i) repository.removeNode("192.0.2.1");
      EXPECT_TRUE(repository.getNodes().isEmpty());
    });
  };
  EXPECT_LT(effort(MANY / 2), 40 * effort(MANY / 20));
}

}  // namespace
}  // namespace KX::NMS::Discovery
