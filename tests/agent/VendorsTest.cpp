// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "agent/Vendors.h"

namespace {

class VendorsTest : public testing::Test {
 protected:
  ~VendorsTest() override { std::filesystem::remove_all(folder_); }

  void write(const std::string& text) const { std::ofstream(table_) << "# a comment\n#\n\n" << text; }
  String vendorOf(const char* physicalAddress) const {
    KXVector<String> addresses;
    addresses.add("00:00:5E:00:53:01");
    addresses.add(physicalAddress);
    return Vendors(table_.c_str(), addresses).vendorOf(physicalAddress);
  }

  char path_[24] = "/tmp/kx-vendors-XXXXXX";
  const char* const folder_ = mkdtemp(path_);
  const std::string table_ = std::string(folder_) + "/table";
};

TEST_F(VendorsTest, APrefixNamesItsOwner) {
  write("001122\tAcme Ltd\nAABBCC\tNobody\nA8BBCC\tWidgets, \"The\" Inc.");
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "Acme Ltd");
  EXPECT_EQ(vendorOf("A8:BB:CC:33:44:55"), "Widgets, \"The\" Inc.");
  EXPECT_EQ(vendorOf("a8-bb-cc-33-44-55"), "Widgets, \"The\" Inc.");
  EXPECT_EQ(vendorOf("A8:BB:CD:33:44:55"), "");
}

TEST_F(VendorsTest, TheLongestPrefixWins) {
  write("0050C2\tOld\n0050C2001\tIndividual\n0011223\tMedium\n001122\tLarge\n001122334\tSmall\n");
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "Small");
  EXPECT_EQ(vendorOf("00:11:22:33:54:55"), "Medium");
  EXPECT_EQ(vendorOf("00:11:22:43:44:55"), "Large");
  EXPECT_EQ(vendorOf("00:50:C2:00:11:55"), "Individual");
}

TEST_F(VendorsTest, OfSeveralOwnersTheFirstIsNamed) {
  write("080030\tFirst\n080030\tSecond\n");
  EXPECT_EQ(vendorOf("08:00:30:00:00:01"), "First");
}

TEST_F(VendorsTest, ABlockThatTheRegistryDividesHasNoOwnerItself) {
  write("001122\tIEEE Registration Authority\n0011223\tMedium\n");
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "Medium");
  EXPECT_EQ(vendorOf("00:11:22:43:44:55"), "");
}

TEST_F(VendorsTest, ALocallyAdministeredAddressHasNoVendor) {
  write("02608C\tSomebody\n00608C\tSomebody\n");
  EXPECT_EQ(vendorOf("02:60:8C:00:00:01"), "");
  EXPECT_EQ(vendorOf("00:60:8C:00:00:01"), "Somebody");
}

TEST_F(VendorsTest, WhatIsNoAddressHasNoVendor) {
  write("001122\tAcme Ltd\n");
  for (const char* text : {"", "00:11:22", "00:11:22:33:44:5", "00:11:22:33:44:55:66", "00:11:22:33:44:5G", "\xff"}) {
    EXPECT_EQ(vendorOf(text), "") << text;
  }
}

TEST_F(VendorsTest, AnAddressThatWasNotAskedForHasNoVendor) {
  write("001122\tAcme Ltd\n");
  EXPECT_EQ(Vendors(table_.c_str(), {}).vendorOf("00:11:22:33:44:55"), "");
}

TEST_F(VendorsTest, WhatIsNoTableTellsNothing) {
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "");
  ASSERT_TRUE(std::filesystem::create_directory(table_));
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "");
  ASSERT_TRUE(std::filesystem::remove(table_));
  ASSERT_EQ(std::system(("mkfifo " + table_).c_str()), 0);
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "");
}

TEST_F(VendorsTest, LinesThatAreNoneAreSkippedAndNamesAreBounded) {
  write(std::string(300000, '\t') + "\n001122\n\t\n" + std::string(1000, '\0') + "\n001122\t" + std::string(1000, 'x') +
        "\n");
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), std::string(256, 'x').c_str());
}

TEST_F(VendorsTest, ATableIsFoundThroughALink) {
  std::ofstream(table_ + ".real") << "001122\tAcme Ltd\n";
  std::filesystem::create_symlink("table.real", table_);
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "Acme Ltd");
}

// The one that Debian's arp-scan brings, where it is installed.
TEST_F(VendorsTest, TheTableOfArpScanIsOne) {
  if (!std::filesystem::exists("/usr/share/arp-scan/ieee-oui.txt")) GTEST_SKIP() << "no arp-scan";
  KXVector<String> addresses;
  addresses.add("00:00:5E:00:53:01");
  EXPECT_TRUE(
      Vendors("/usr/share/arp-scan/ieee-oui.txt", addresses).vendorOf("00:00:5E:00:53:01").view().starts_with("ICANN"));
}

}  // namespace
