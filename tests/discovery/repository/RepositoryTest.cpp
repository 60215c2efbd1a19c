// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "discovery/repository/Repository.h"
#include "platform/testing/VirtualEventLoop.h"
#include "tests/discovery/common/Rows.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr const char* MAC = "02:00:5E:00:00:0A";
constexpr const char* IP = "192.0.2.20";

class RepositoryTest : public testing::Test {
 protected:
  RepositoryTest() { setenv("TZ", "UTC", 1); }

  KXLWPtr<Node> addManual(const char* ipAddress) { return repository_.addManualNode(ipAddress, &added_); }
  KXLWPtr<Node> addDiscovered(const char* mac, const char* ipAddress,
                              Repository::UpdateMode mode = Repository::UpdateExisting, const char* interface = "LAN",
                              const char* model = "Varnel X", bool supportsOnboarding = true) {
    return repository_.addDiscoveredNode(mac, ipAddress, interface, model, supportsOnboarding, mode, &added_,
                                         &changed_);
  }
  KXLWPtr<Node> setServices(const KXStringHashTable<Service>& services, const char* model = "",
                            const char* systemObjectID = "") {
    return repository_.setDiscoveredServices(IP, services, model, systemObjectID);
  }
  static KXStringHashTable<Service> services(std::initializer_list<Service> list) {
    KXStringHashTable<Service> table;
    for (const Service& service : list) table.set(service.name, service);
    return table;
  }
  std::vector<std::string> addresses() const { return addressesOf(repository_.getNodes()); }
  static std::vector<std::string> addressesOf(const KXVector<KXLWPtr<Node>>& nodes) {
    std::vector<std::string> list;
    for (const KXLWPtr<Node>& node : nodes) list.emplace_back(node->ipAddress().c_str());
    return list;
  }
  static std::string wire(const KXLWPtr<Node>& node) {
    return node->toPropertyValue(Node::WithServices).toJson().c_str();
  }
  static void clearMarks(const KXLWPtr<Node>& node) {
    node->clearRecentlyAdded();
    node->clearRecentlyChanged();
    node->clearRecentlyDiscoveredServices();
  }
  static bool hasMarks(const KXLWPtr<Node>& node) {
    return node->isRecentlyAdded() || node->isRecentlyChanged() || node->hasRecentlyDiscoveredServices();
  }

  Testing::VirtualEventLoop loop_;
  Repository repository_;
  // Preset, so that a test sees that they are set to false.
  bool added_ = true;
  bool changed_ = true;
};

TEST_F(RepositoryTest, NewOneIsEmpty) {
  EXPECT_TRUE(repository_.getNodes().isEmpty());
  EXPECT_EQ(repository_.getNodeByIpAddress(IP), nullptr);
  EXPECT_EQ(repository_.getNodeByIpAddress(""), nullptr);
  EXPECT_TRUE(repository_.getNodesWithPendingServiceScan().isEmpty());
  EXPECT_TRUE(repository_.getNodesWithPendingStatusScan().isEmpty());
}

TEST_F(RepositoryTest, NodesStandInTheOrderOfTheirCreation) {
  addManual("192.0.2.9");
  addDiscovered(MAC, "192.0.2.1");
  addManual("192.0.2.5");
  EXPECT_THAT(addresses(), ElementsAre("192.0.2.9", "192.0.2.1", "192.0.2.5"));
  addManual("192.0.2.9");
  addDiscovered(MAC, "192.0.2.2");
  EXPECT_THAT(addresses(), ElementsAre("192.0.2.9", "192.0.2.2", "192.0.2.5"));
}

TEST_F(RepositoryTest, AddressesAreComparedByteForByte) {
  addManual("fe80::A");
  EXPECT_EQ(repository_.getNodeByIpAddress("fe80::a"), nullptr);
  addDiscovered("02:00:5e:00:00:0a", "192.0.2.1");
  addDiscovered("02:00:5E:00:00:0A", "192.0.2.2");
  EXPECT_EQ(repository_.getNodes().size(), 3U);
}

// --- setStatus

TEST_F(RepositoryTest, SetStatusDatesTheChangeNowAndMarksTheNode) {
  const KXLWPtr<Node> node = addManual(IP);
  clearMarks(node);
  loop_.advance(1500ms);
  EXPECT_EQ(repository_.setStatus(IP, NodeStatus::UP, nullptr, &changed_), node);
  EXPECT_TRUE(changed_);
  EXPECT_EQ(node->status(), NodeStatus::UP);
  EXPECT_EQ(node->statusChangeDate(), loop_.now());
  EXPECT_TRUE(node->isRecentlyChanged());
  EXPECT_FALSE(node->isRecentlyAdded());
  EXPECT_FALSE(node->hasRecentlyDiscoveredServices());
}

TEST_F(RepositoryTest, SetStatusTakesTheGivenDate) {
  const Clock when("2025-05-05T05:05:05Z"_s, Clock::UTC, 0);
  const KXLWPtr<Node> node = addManual(IP);
  repository_.setStatus(IP, NodeStatus::DOWN, &when, &changed_);
  EXPECT_EQ(node->statusChangeDate(), when);
  EXPECT_TRUE(changed_);
}

TEST_F(RepositoryTest, SetStatusWithTheCurrentStatusChangesNothingNotEvenTheDate) {
  const KXLWPtr<Node> node = addManual(IP);
  repository_.setStatus(IP, NodeStatus::UP, nullptr, nullptr);
  clearMarks(node);
  const std::string before = wire(node);
  loop_.advance(1h);
  changed_ = true;
  EXPECT_EQ(repository_.setStatus(IP, NodeStatus::UP, nullptr, &changed_), node);
  EXPECT_FALSE(changed_);
  const Clock when(7);
  repository_.setStatus(IP, NodeStatus::UP, &when, nullptr);
  EXPECT_EQ(wire(node), before);
  EXPECT_FALSE(hasMarks(node));
}

TEST_F(RepositoryTest, SetStatusOnAnUnknownAddressGivesNull) {
  EXPECT_EQ(repository_.setStatus(IP, NodeStatus::UP, nullptr, &changed_), nullptr);
  EXPECT_FALSE(changed_);
  EXPECT_TRUE(repository_.getNodes().isEmpty());
}

// --- removeNode

TEST_F(RepositoryTest, RemoveKeepsTheOrderOfTheOthers) {
  for (const char* ip : {"192.0.2.1", "192.0.2.2", "192.0.2.3"}) addManual(ip);
  repository_.removeNode("192.0.2.2");
  EXPECT_THAT(addresses(), ElementsAre("192.0.2.1", "192.0.2.3"));
  EXPECT_EQ(repository_.getNodeByIpAddress("192.0.2.2"), nullptr);
}

TEST_F(RepositoryTest, RemoveOfAnUnknownAddressDoesNothing) {
  addManual(IP);
  repository_.removeNode("192.0.2.99");
  EXPECT_THAT(addresses(), ElementsAre(IP));
}

TEST_F(RepositoryTest, RemovedDiscoveredNodeIsForgottenUnderItsPhysicalAddressToo) {
  const KXLWPtr<Node> old = addDiscovered(MAC, IP);
  repository_.removeNode(IP);
  const KXLWPtr<Node> node = addDiscovered(MAC, "192.0.2.21");
  EXPECT_TRUE(added_);
  EXPECT_FALSE(node == old);
  EXPECT_THAT(addresses(), ElementsAre("192.0.2.21"));
}

TEST_F(RepositoryTest, RemovingANodeThatAJobHoldsLeavesTheJobsPointerValid) {
  const KXLWPtr<Node> held = addDiscovered(MAC, IP);
  repository_.removeNode(IP);
  EXPECT_EQ(held->ipAddress(), IP);
  held->setPendingServiceScans(1);
  EXPECT_TRUE(repository_.getNodesWithPendingServiceScan().isEmpty());
}

// --- pending scans

TEST_F(RepositoryTest, NodesOwedServiceScansAreListedInOrder) {
  addManual("192.0.2.1");
  addManual("192.0.2.2")->setPendingServiceScans(0);
  addManual("192.0.2.3")->setPendingServiceScans(1);
  EXPECT_THAT(addressesOf(repository_.getNodesWithPendingServiceScan()), ElementsAre("192.0.2.1", "192.0.2.3"));
}

TEST_F(RepositoryTest, OnlyNodesWithKnownServicesAreOwedAStatusScan) {
  addManual("192.0.2.1");
  addManual(IP);
  setServices(services({{"sip", 5060}}));
  EXPECT_THAT(addressesOf(repository_.getNodesWithPendingStatusScan()), ElementsAre(IP));
}

TEST_F(RepositoryTest, ListOfPendingNodesIsTheCallersOwn) {
  addManual(IP);
  const KXVector<KXLWPtr<Node>> pending = repository_.getNodesWithPendingServiceScan();
  repository_.removeNode(IP);
  EXPECT_THAT(addressesOf(pending), ElementsAre(IP));
}

// --- addManualNode

TEST_F(RepositoryTest, ManualNodeIsCreatedWithItsAddressAndMarkedAsAdded) {
  added_ = false;
  const KXLWPtr<Node> node = addManual(IP);
  EXPECT_TRUE(added_);
  EXPECT_TRUE(node->isManual());
  EXPECT_FALSE(node->isDiscovered());
  EXPECT_TRUE(node->isRecentlyAdded());
  EXPECT_EQ(repository_.getNodeByIpAddress(IP), node);
}

TEST_F(RepositoryTest, ManualNodeAddedTwiceIsOneNode) {
  const KXLWPtr<Node> node = addManual(IP);
  clearMarks(node);
  added_ = true;
  EXPECT_EQ(addManual(IP), node);
  EXPECT_FALSE(added_);
  EXPECT_FALSE(hasMarks(node));
  EXPECT_THAT(addresses(), ElementsAre(IP));
}

TEST_F(RepositoryTest, DiscoveredNodeAddedByHandIsBoth) {
  const KXLWPtr<Node> node = addDiscovered(MAC, IP);
  EXPECT_EQ(addManual(IP), node);
  EXPECT_FALSE(added_);
  EXPECT_TRUE(node->isManual());
  EXPECT_TRUE(node->isDiscovered());
}

TEST_F(RepositoryTest, OutputFlagsMayBeNull) {
  const KXLWPtr<Node> node = repository_.addManualNode(IP, nullptr);
  EXPECT_EQ(repository_.addManualNode(IP, nullptr), node);
  repository_.addDiscoveredNode(MAC, IP, "", "", false, Repository::UpdateExisting, nullptr, nullptr);
  repository_.addDiscoveredNode(MAC, IP, "LAN", "", false, Repository::UpdateExisting, nullptr, nullptr);
  repository_.addDiscoveredNode("02:00:5E:00:00:0B", "192.0.2.21", "", "", false, Repository::KeepExisting, nullptr,
                                nullptr);
  EXPECT_EQ(repository_.getNodes().size(), 2U);
  EXPECT_EQ(node->interface(), "LAN");
}

// --- addDiscoveredNode

TEST_F(RepositoryTest, DiscoveredNodeIsCreatedWithAllFiveValues) {
  added_ = false;
  const KXLWPtr<Node> node = addDiscovered(MAC, IP);
  EXPECT_TRUE(added_);
  EXPECT_FALSE(changed_);
  EXPECT_TRUE(node->isDiscovered());
  EXPECT_FALSE(node->isManual());
  EXPECT_EQ(node->physicalAddress(), MAC);
  EXPECT_EQ(node->ipAddress(), IP);
  EXPECT_EQ(node->interface(), "LAN");
  EXPECT_EQ(node->model(), "Varnel X");
  EXPECT_TRUE(node->supportsOnboarding());
  EXPECT_TRUE(node->isRecentlyAdded());
  EXPECT_FALSE(node->isRecentlyChanged());
  EXPECT_FALSE(node->hasRecentlyDiscoveredServices());
  EXPECT_EQ(repository_.getNodeByIpAddress(IP), node);
}

TEST_F(RepositoryTest, KnownNodeSeenUnchangedIsReturnedAsItIs) {
  const KXLWPtr<Node> node = addDiscovered(MAC, IP);
  clearMarks(node);
  added_ = changed_ = true;
  EXPECT_EQ(addDiscovered(MAC, IP), node);
  EXPECT_FALSE(added_);
  EXPECT_FALSE(changed_);
  EXPECT_FALSE(hasMarks(node));
}

TEST_F(RepositoryTest, KnownNodeSeenAtAnotherAddressMovesThere) {
  const KXLWPtr<Node> node = addDiscovered(MAC, IP);
  EXPECT_EQ(addDiscovered(MAC, "192.0.2.21"), node);
  EXPECT_FALSE(added_);
  EXPECT_TRUE(changed_);
  EXPECT_EQ(repository_.getNodeByIpAddress(IP), nullptr);
  EXPECT_EQ(repository_.getNodeByIpAddress("192.0.2.21"), node);
  EXPECT_EQ(repository_.getNodes().size(), 1U);
}

TEST_F(RepositoryTest, EachOfTheFourValuesAloneIsAChange) {
  const KXLWPtr<Node> node = addDiscovered(MAC, IP);
  const auto isChanged = [&](const char* ip, const char* interface, const char* model, bool supportsOnboarding) {
    added_ = changed_ = true;
    addDiscovered(MAC, ip, Repository::UpdateExisting, interface, model, supportsOnboarding);
    EXPECT_FALSE(added_);
    return changed_;
  };
  EXPECT_TRUE(isChanged("192.0.2.21", "LAN", "Varnel X", true));
  EXPECT_TRUE(isChanged("192.0.2.21", "WLAN", "Varnel X", true));
  EXPECT_TRUE(isChanged("192.0.2.21", "WLAN", "Varnel Y", true));
  EXPECT_TRUE(isChanged("192.0.2.21", "WLAN", "Varnel Y", false));
  EXPECT_FALSE(isChanged("192.0.2.21", "WLAN", "Varnel Y", false));
  EXPECT_EQ(node->interface(), "WLAN");
  EXPECT_FALSE(node->supportsOnboarding());
}

TEST_F(RepositoryTest, EmptyModelReplacesTheKnownOne) {
  const KXLWPtr<Node> node = addDiscovered(MAC, IP);
  addDiscovered(MAC, IP, Repository::UpdateExisting, "LAN", "");
  EXPECT_TRUE(changed_);
  EXPECT_EQ(node->model(), "");
}

TEST_F(RepositoryTest, UpdateOfAKnownNodeSetsNoneOfItsMarks) {
  const KXLWPtr<Node> node = addDiscovered(MAC, IP);
  clearMarks(node);
  addDiscovered(MAC, "192.0.2.21", Repository::UpdateExisting, "WLAN", "Varnel Y", false);
  EXPECT_TRUE(changed_);
  EXPECT_FALSE(hasMarks(node));
}

TEST_F(RepositoryTest, KeptNodeIsOnlyMadeADiscoveredOne) {
  const KXLWPtr<Node> node = addDiscovered(MAC, IP);
  const std::string before = wire(node);
  clearMarks(node);
  added_ = changed_ = true;
  EXPECT_EQ(addDiscovered(MAC, "192.0.2.21", Repository::KeepExisting, "WLAN", "Varnel Y", false), node);
  EXPECT_FALSE(added_);
  EXPECT_FALSE(changed_);
  EXPECT_EQ(wire(node), before);
  EXPECT_TRUE(node->isDiscovered());
  EXPECT_FALSE(hasMarks(node));
  EXPECT_EQ(repository_.getNodeByIpAddress("192.0.2.21"), nullptr);
}

TEST_F(RepositoryTest, ManualNodeThatIsDiscoveredStaysOneNode) {
  const KXLWPtr<Node> node = addManual(IP);
  clearMarks(node);
  added_ = changed_ = true;
  EXPECT_EQ(addDiscovered(MAC, IP), node);
  EXPECT_FALSE(added_);
  EXPECT_FALSE(changed_);
  EXPECT_TRUE(node->isManual());
  EXPECT_TRUE(node->isDiscovered());
  EXPECT_EQ(node->physicalAddress(), MAC);
  EXPECT_EQ(node->interface(), "LAN");
  EXPECT_FALSE(hasMarks(node));
  EXPECT_EQ(repository_.getNodes().size(), 1U);
}

TEST_F(RepositoryTest, NodeKnownByItsIpAddressKeepsModelAndOnboardingFlag) {
  const KXLWPtr<Node> node = addManual(IP);
  setServices({}, "Varnel Z");
  addDiscovered(MAC, IP);
  EXPECT_EQ(node->model(), "Varnel Z");
  EXPECT_FALSE(node->supportsOnboarding());
  // From now on it is known by its physical address, and the next scan updates it.
  addDiscovered(MAC, IP);
  EXPECT_TRUE(changed_);
  EXPECT_EQ(node->model(), "Varnel X");
  EXPECT_TRUE(node->supportsOnboarding());
}

TEST_F(RepositoryTest, EmptyAddressesAreAddressesLikeAnyOther) {
  const KXLWPtr<Node> node = addDiscovered("", "");
  EXPECT_TRUE(added_);
  EXPECT_EQ(addDiscovered("", IP), node);
  EXPECT_TRUE(changed_);
  EXPECT_THAT(addresses(), ElementsAre(IP));
}

// --- setDiscoveredServices

TEST_F(RepositoryTest, ServicesAreAddedAndTheNodeIsMarked) {
  const KXLWPtr<Node> node = addManual(IP);
  clearMarks(node);
  EXPECT_EQ(setServices(services({{"sip", 5060}, {"http", 80}}), "Varnel Z", "1.3.6"), node);
  EXPECT_EQ(node->services().size(), 2U);
  EXPECT_EQ(node->model(), "Varnel Z");
  EXPECT_EQ(node->systemObjectID(), "1.3.6");
  EXPECT_TRUE(node->hasRecentlyDiscoveredServices());
  EXPECT_FALSE(node->isRecentlyChanged());
  EXPECT_FALSE(node->isRecentlyAdded());
}

TEST_F(RepositoryTest, ServicesOfAnUnknownAddressGiveNullAndChangeNothing) {
  EXPECT_EQ(setServices(services({{"sip", 5060}})), nullptr);
  EXPECT_TRUE(repository_.getNodes().isEmpty());
}

TEST_F(RepositoryTest, ServicesTheNodeHasAlreadySetNoMark) {
  const KXLWPtr<Node> node = addManual(IP);
  setServices(services({{"sip", 5060}}), "Varnel Z", "1.3.6");
  clearMarks(node);
  setServices(services({{"sip", 5060}}), "Varnel Z", "1.3.6");
  setServices({});
  EXPECT_FALSE(hasMarks(node));
}

TEST_F(RepositoryTest, KnownServiceTakesTheNewPortAndTheSetOnlyGrows) {
  const KXLWPtr<Node> node = addManual(IP);
  setServices(services({{"sip", 5060}, {"http", 80}}));
  clearMarks(node);
  setServices(services({{"sip", 5061}, {"https", 443}}));
  EXPECT_TRUE(node->hasRecentlyDiscoveredServices());
  ASSERT_EQ(node->services().size(), 3U);
  EXPECT_EQ(node->services().find("sip")->port, 5061U);
  EXPECT_EQ(node->services().find("http")->port, 80U);
}

TEST_F(RepositoryTest, ModelOrObjectIdentifierAloneIsAServiceChange) {
  const KXLWPtr<Node> node = addManual(IP);
  clearMarks(node);
  setServices({}, "Varnel Z");
  EXPECT_TRUE(node->hasRecentlyDiscoveredServices());
  clearMarks(node);
  setServices({}, "", "1.3.6");
  EXPECT_TRUE(node->hasRecentlyDiscoveredServices());
  EXPECT_EQ(node->model(), "Varnel Z");
}

TEST_F(RepositoryTest, ServicesAreKeyedByTheKeyGivenAndOverwrittenWithTheirName) {
  const KXLWPtr<Node> node = addManual(IP);
  KXStringHashTable<Service> table;
  table.set("key", {"old", 1});
  setServices(table);
  table.set("key", {"new", 2});
  setServices(table);
  ASSERT_EQ(node->services().size(), 1U);
  EXPECT_EQ(node->services().find("key")->name, "new");
  EXPECT_EQ(node->toPropertyValue(Node::WithServices)["services"].toJson(), R"({"new":{"port":2}})");
}

TEST_F(RepositoryTest, PendingServiceScansAreNotCountedHere) {
  const KXLWPtr<Node> node = addManual(IP);
  setServices(services({{"sip", 5060}}));
  EXPECT_EQ(node->pendingServiceScans(), Node::INITIAL_SERVICE_SCANS);
}

// --- getInfo

TEST_F(RepositoryTest, RowsAreTheTitleAndTheNodesInTheirOrder) {
  EXPECT_THAT(rowsOf(repository_, {}, "The "), ElementsAre("0,0 The Local Node Repository: "));
  addManual(IP)->setPendingServiceScans(0);
  addDiscovered(MAC, "192.0.2.1", Repository::KeepExisting, "", "", false);
  EXPECT_THAT(rowsOf(repository_, {.level = 1, .column = 1}, "The "),
              ElementsAre("1,1 The Local Node Repository: ",                  //
                          "2,1 Manual Node: 192.0.2.20 (recently added)",     //
                          "3,1 Status: unknown",                              //
                          "3,1 Status Changed: 2026-01-01 00:00:00",          //
                          "2,1 Discovered Node: 192.0.2.1 (recently added)",  //
                          "3,1 Physical Address: 02:00:5E:00:00:0A",          //
                          "3,1 Status: unknown",                              //
                          "3,1 Status Changed: 2026-01-01 00:00:00",          //
                          "3,1 Pending Service Scans: 2"));
}

TEST_F(RepositoryTest, RowsBeyondTheLimitsAreLeftOut) {
  addManual(IP);
  EXPECT_THAT(rowsOf(repository_, {.maxLevel = 0}), ElementsAre("0,0 Local Node Repository: "));
  EXPECT_THAT(rowsOf(repository_, {.maxLevel = 1}),
              ElementsAre("0,0 Local Node Repository: ", "1,0 Manual Node: 192.0.2.20 (recently added)"));
  EXPECT_THAT(rowsOf(repository_, {.maxColumn = 0, .column = 1}), IsEmpty());
}

}  // namespace
}  // namespace KX::NMS::Discovery
