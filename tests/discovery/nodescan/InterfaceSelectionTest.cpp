// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include "tests/discovery/nodescan/FakeDevice.h"

namespace KX::NMS::Discovery {
namespace {

using testing::ElementsAre;
using testing::IsSupersetOf;

class InterfaceSelectionTest : public testing::Test {
 protected:
  // Prepares a job with the given rules and returns its decision log without the job's prefix.
  std::vector<std::string> decide(const char* rules = nullptr) {
    const std::string description = std::string(R"({"id":"n","scanType":"node")") +
                                    (rules == nullptr ? "}" : std::string(R"(,"interfaces":)") + rules + "}");
    job_ = device_.makeJob(description.c_str());
    device_.log.clear();
    job_->prepare(needed_);
    std::vector<std::string> texts;
    for (const auto& entry : device_.log.capture().entries()) {
      EXPECT_EQ(entry.prefix, "[Job n.0] ");
      texts.push_back(entry.text);
    }
    return texts;
  }
  // "type name: command" of each scan that the job made.
  std::vector<std::string> scans() const {
    std::vector<std::string> found;
    const Property::Value job = job_->toPropertyValue();
    for (const Property::Value& scan : job["scans"].elements()) {
      found.push_back(std::string(scan["type"].toString().c_str()) + " " + scan["name"].toString().c_str() + ": " +
                      scan["cmd"].toString().c_str());
    }
    return found;
  }
  std::vector<std::string> scannedInterfaces() const {
    std::vector<std::string> names;
    for (const std::string& scan : scans()) {
      if (scan.starts_with("ARP ")) names.push_back(scan.substr(4, scan.find(':') - 4));
    }
    return names;
  }

  FakeDevice device_;
  KXPtr<JobNodeScan> job_;
  bool needed_ = false;
};

TEST_F(InterfaceSelectionTest, WithoutRulesABoundUpInterfaceInAPrivateNetworkIsScanned) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  EXPECT_THAT(decide(),
              ElementsAre("Preparing...", "Determining interfaces to scan...",
                          "- IP context main:", "  - IP Interface LAN1:", "    - Connects to a private network",
                          "    - No regular expression specified", "    - Must connect to a private network by default",
                          "    v Is bound to eth1", "    v Is up", "    V Scan this IP interface"));
  EXPECT_TRUE(needed_);
  EXPECT_THAT(scans(), ElementsAre("ARP LAN1: arp-scan --interface=eth1 --localnet --quiet --timeout=5000 --retry=3",
                                   "Discovery LAN1: discovery-client -j -i eth1"));
}

TEST_F(InterfaceSelectionTest, TwoChosenInterfacesGiveFourScansInOrder) {
  device_.addTwoLans();
  decide();
  EXPECT_THAT(scans(), ElementsAre("ARP LAN1: arp-scan --interface=eth1 --localnet --quiet --timeout=5000 --retry=3",
                                   "Discovery LAN1: discovery-client -j -i eth1",
                                   "ARP LAN2: arp-scan --interface=eth2 --localnet --quiet --timeout=5000 --retry=3",
                                   "Discovery LAN2: discovery-client -j -i eth2"));
}

TEST_F(InterfaceSelectionTest, WithoutRulesAPublicInterfaceIsSkipped) {
  device_.addInterface("WAN", "eth0", "203.0.113.0/24");
  EXPECT_THAT(decide(),
              ElementsAre("Preparing...", "Determining interfaces to scan...",
                          "- IP context main:", "  - IP Interface WAN:", "    - Does not connect to a private network",
                          "    - No regular expression specified", "    - Must connect to a private network by default",
                          "    v Is bound to eth0", "    v Is up", "    X Skip this IP interface"));
  EXPECT_FALSE(needed_);
}

TEST_F(InterfaceSelectionTest, AnUnboundInterfaceIsSkippedEvenWhenUpAndPrivate) {
  device_.execute("INSERT INTO ip_interface VALUES (1, 1, 2, 10, 'LAN1', NULL, 3)");
  device_.execute("INSERT INTO ip_interface_address VALUES (1, 1, 2, 10, '10.0.0.0/8')");
  const auto texts = decide();
  ASSERT_GE(texts.size(), 3U);
  EXPECT_THAT((std::vector<std::string>{texts.end() - 3, texts.end()}),
              ElementsAre("    - Is not bound", "    v Is up", "    X Skip this IP interface"));
}

TEST_F(InterfaceSelectionTest, ABindingThatCannotBeLoadedIsNone) {
  device_.execute("INSERT INTO ip_interface VALUES (1, 1, 2, 10, 'LAN1', 77, 3)");
  device_.execute("INSERT INTO ip_interface_address VALUES (1, 1, 2, 10, '10.0.0.0/8')");
  EXPECT_THAT(decide(), testing::Contains("    - Is not bound"));
  EXPECT_FALSE(needed_);
}

TEST_F(InterfaceSelectionTest, AnInterfaceThatIsDownIsSkipped) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16", 1);
  const auto texts = decide();
  ASSERT_GE(texts.size(), 3U);
  EXPECT_THAT((std::vector<std::string>{texts.end() - 3, texts.end()}),
              ElementsAre("    v Is bound to eth1", "    x Is down", "    X Skip this IP interface"));
  EXPECT_FALSE(needed_);
}

TEST_F(InterfaceSelectionTest, AnUnboundInterfaceThatIsDownSaysBoth) {
  device_.execute("INSERT INTO ip_interface VALUES (1, 1, 2, 10, 'LAN1', NULL, 1)");
  const auto texts = decide();
  ASSERT_GE(texts.size(), 3U);
  EXPECT_THAT((std::vector<std::string>{texts.end() - 3, texts.end()}),
              ElementsAre("    - Is not bound", "    x Is down", "    X Skip this IP interface"));
}

TEST_F(InterfaceSelectionTest, ARuleForAllNetworksSelectsAPublicInterfaceByItsName) {
  device_.addInterface("LAN1", "eth1", "203.0.113.0/24");
  device_.addInterface("WAN", "eth0", "203.0.113.0/24");
  EXPECT_THAT(
      decide(R"([{"regex":"^LAN","privateNetworksOnly":false}])"),
      ElementsAre("Preparing...", "Determining interfaces to scan...",
                  "- IP context main:", "  - IP Interface LAN1:", "    - Does not connect to a private network",
                  "    - Comparing to description where", "      Regular expression: /^LAN/", "      v Matches",
                  "    v Is bound to eth1", "    v Is up", "    V Scan this IP interface",
                  "  - IP Interface WAN:", "    - Does not connect to a private network",
                  "    - Comparing to description where", "      Regular expression: /^LAN/", "      x Does not match",
                  "    v Is bound to eth0", "    v Is up", "    X Skip this IP interface"));
  EXPECT_THAT(scannedInterfaces(), ElementsAre("LAN1"));
}

TEST_F(InterfaceSelectionTest, ARuleWithoutAnExpressionForAllNetworksSelectsEveryBoundUpInterface) {
  device_.addInterface("WAN", "eth0", "203.0.113.0/24");
  device_.addInterface("X", "eth7", "");
  EXPECT_THAT(decide(R"([{"privateNetworksOnly":false}])"), testing::Contains("      No regular expression"));
  EXPECT_THAT(scannedInterfaces(), ElementsAre("WAN", "X"));
}

TEST_F(InterfaceSelectionTest, AnEmptyExpressionIsARuleWithoutOne) {
  device_.addInterface("WAN", "eth0", "203.0.113.0/24");
  EXPECT_THAT(decide(R"([{"regex":"","privateNetworksOnly":false}])"),
              testing::Contains("      No regular expression"));
  EXPECT_THAT(scannedInterfaces(), ElementsAre("WAN"));
}

TEST_F(InterfaceSelectionTest, ARuleIsForPrivateNetworksUnlessItSaysOtherwise) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  device_.addInterface("LAN2", "eth2", "203.0.113.0/24");
  EXPECT_THAT(decide(R"([{"regex":"LAN"}])"),
              IsSupersetOf({"      Must connect to a private network", "      v Connects to a private network",
                            "      x Does not connect to a private network"}));
  EXPECT_THAT(scannedInterfaces(), ElementsAre("LAN1"));
}

TEST_F(InterfaceSelectionTest, TheFirstRuleThatAcceptsEndsTheComparison) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  const auto texts = decide(R"([{"regex":"WAN"},{"regex":"LAN"},{"regex":"1"}])");
  EXPECT_EQ(std::count(texts.begin(), texts.end(), "    - Comparing to description where"), 2);
  EXPECT_THAT(scannedInterfaces(), ElementsAre("LAN1"));
}

TEST_F(InterfaceSelectionTest, ARefusedExpressionSelectsNothing) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  EXPECT_THAT(decide(R"([{"regex":"(","privateNetworksOnly":false}])"),
              IsSupersetOf({"      Regular expression: /(/", "      x Does not match"}));
  EXPECT_FALSE(needed_);
}

TEST_F(InterfaceSelectionTest, AnEmptyRuleListIsTheDefault) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  EXPECT_THAT(decide("[]"), testing::Contains("    - No regular expression specified"));
  EXPECT_TRUE(needed_);
}

TEST_F(InterfaceSelectionTest, ASubnetMustLieWhollyInsideAPrivateNetwork) {
  device_.addInterface("a", "e1", "10.1.0.0/16");
  device_.addInterface("b", "e2", "172.16.0.0/11");
  device_.addInterface("c", "e3", "192.169.0.0/24");
  device_.addInterface("d", "e4", "172.31.255.255/32");
  device_.addInterface("e", "e5", "172.32.0.0/16");
  device_.addInterface("f", "e6", "192.168.0.0/16");
  device_.addInterface("g", "e7", "192.168.0.0/15");
  device_.addInterface("h", "e8", "0.0.0.0/0");
  device_.addInterface("i", "e9", "10.0.0.0/8");
  device_.addInterface("j", "e10", "9.255.255.0/24");
  decide();
  EXPECT_THAT(scannedInterfaces(), ElementsAre("a", "d", "f", "i"));
}

TEST_F(InterfaceSelectionTest, OneAddressInAPrivateNetworkIsEnough) {
  device_.addInterface("LAN1", "eth1", "203.0.113.0/24");
  device_.execute("INSERT INTO ip_interface_address VALUES (50, 1, 2, 10, '192.168.7.1/24')");
  decide();
  EXPECT_THAT(scannedInterfaces(), ElementsAre("LAN1"));
}

TEST_F(InterfaceSelectionTest, AnAddressThatCannotBeReadIsIgnored) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0");
  device_.addInterface("LAN2", "eth2", "nonsense");
  device_.execute("INSERT INTO ip_interface_address VALUES (50, 2, 2, 10, '10.2.0.0/16')");
  decide();
  EXPECT_THAT(scannedInterfaces(), ElementsAre("LAN2"));
}

TEST_F(InterfaceSelectionTest, AnInterfaceWithoutAddressesIsNotPrivate) {
  device_.addInterface("LAN1", "eth1", "");
  EXPECT_THAT(decide(), testing::Contains("    - Does not connect to a private network"));
  EXPECT_FALSE(needed_);
}

TEST_F(InterfaceSelectionTest, RowsOfOtherTypesAndStatusesDoNotCount) {
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  device_.execute("INSERT INTO context_ip VALUES (2, 1, 10, 'other type')");
  device_.execute("INSERT INTO context_ip VALUES (3, 2, 9, 'other status')");
  device_.execute("INSERT INTO ip_interface VALUES (50, 1, 1, 10, 'template', 1, 3)");
  device_.execute("INSERT INTO ip_interface VALUES (51, 1, 2, 11, 'deleted', 1, 3)");
  device_.execute("INSERT INTO ip_interface VALUES (52, 2, 2, 10, 'elsewhere', 1, 3)");
  const auto texts = decide();
  EXPECT_EQ(std::count_if(texts.begin(), texts.end(), [](const auto& t) { return t.starts_with("- IP context"); }), 1);
  EXPECT_THAT(scannedInterfaces(), ElementsAre("LAN1"));
}

TEST_F(InterfaceSelectionTest, ContextsAndInterfacesAreWalkedInOrder) {
  device_.execute("INSERT INTO context_ip VALUES (7, 2, 10, 'second')");
  device_.addInterface("LAN1", "eth1", "10.1.0.0/16");
  device_.execute("INSERT INTO ip_interface VALUES (9, 7, 2, 10, 'GUEST', 1, 3)");
  const auto texts = decide();
  std::vector<std::string> headings;
  for (const auto& text : texts) {
    if (text.ends_with(":")) headings.push_back(text);
  }
  EXPECT_THAT(
      headings,
      ElementsAre("- IP context main:", "  - IP Interface LAN1:", "- IP context second:", "  - IP Interface GUEST:"));
}

TEST_F(InterfaceSelectionTest, WithoutAnyInterfaceTheJobIsNotNeeded) {
  EXPECT_THAT(decide(), ElementsAre("Preparing...", "Determining interfaces to scan...", "- IP context main:"));
  EXPECT_FALSE(needed_);
}

TEST_F(InterfaceSelectionTest, WithoutADatabaseThePreparationFails) {
  device_.loop.provide<DB::Database>(nullptr);
  const auto texts = decide();
  ASSERT_EQ(texts.size(), 3U);
  EXPECT_THAT(texts[2], testing::StartsWith("Preparation failed: "));
  EXPECT_FALSE(needed_);
}

TEST_F(InterfaceSelectionTest, ScansMadeBeforeTheDatabaseFailsAreKept) {
  char path[] = "/tmp/kx-config-XXXXXX";
  close(mkstemp(path));
  sqlite3* file = nullptr;
  ASSERT_EQ(sqlite3_open(path, &file), SQLITE_OK);
  // The second interface's name is longer than what is read from a file that nobody vouches for.
  EXPECT_EQ(sqlite3_exec(file, R"(
      CREATE TABLE context_ip (id INTEGER PRIMARY KEY, object_type INTEGER, object_status INTEGER, name TEXT);
      CREATE TABLE dyn_if (id INTEGER PRIMARY KEY, name TEXT);
      CREATE TABLE ip_interface (id INTEGER PRIMARY KEY, context_ip_id INTEGER, object_type INTEGER,
                                 object_status INTEGER, name TEXT, dyn_if_id INTEGER, if_state INTEGER);
      CREATE TABLE ip_interface_address (id INTEGER PRIMARY KEY, ip_interface_id INTEGER, object_type INTEGER,
                                         object_status INTEGER, subnet TEXT);
      INSERT INTO context_ip VALUES (1, 2, 10, 'main');
      INSERT INTO dyn_if VALUES (1, 'eth1');
      INSERT INTO ip_interface VALUES (1, 1, 2, 10, 'LAN1', 1, 3), (2, 1, 2, 10, hex(zeroblob(2000000)), 1, 3);
      INSERT INTO ip_interface_address VALUES (1, 1, 2, 10, '10.0.0.0/8');)",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(file);
  DB::Database database;
  ASSERT_TRUE(database.open(path).isSuccess());
  device_.loop.provide<DB::Database>(&database);
  const auto texts = decide();
  device_.loop.provide<DB::Database>(nullptr);
  unlink(path);
  EXPECT_THAT(texts.back(), testing::StartsWith("Preparation failed: "));
  EXPECT_TRUE(needed_);
  EXPECT_THAT(scannedInterfaces(), ElementsAre("LAN1"));
}

}  // namespace
}  // namespace KX::NMS::Discovery
