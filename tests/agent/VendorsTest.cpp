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

  void write(const char* name, const std::string& text) const {
    std::ofstream(std::string(folder_) + "/" + name) << "Registry,Assignment,Organization Name,Organization Address\r\n"
                                                     << text;
  }
  String vendorOf(const char* physicalAddress) const {
    KXVector<String> addresses;
    addresses.add("00:00:5E:00:53:01");
    addresses.add(physicalAddress);
    return Vendors(folder_, addresses).vendorOf(physicalAddress);
  }

  char path_[24] = "/tmp/kx-vendors-XXXXXX";
  const char* const folder_ = mkdtemp(path_);
};

TEST_F(VendorsTest, APrefixNamesItsOwner) {
  write("oui.csv",
        "MA-L,001122,Acme Ltd,Street 1 \r\nMA-L,AABBCC,\"Widgets, \"\"The\"\" Inc. \",\"1, Road\nTown\"\r\n");
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "Acme Ltd");
  EXPECT_EQ(vendorOf("A8:BB:CC:33:44:55"), "");
  write("oui.csv", "MA-L,A8BBCC,\"Widgets, \"\"The\"\" Inc. \",\"1, Road\nTown\"\r\n");
  EXPECT_EQ(vendorOf("A8:BB:CC:33:44:55"), "Widgets, \"The\" Inc.");
  EXPECT_EQ(vendorOf("a8-bb-cc-33-44-55"), "Widgets, \"The\" Inc.");
}

TEST_F(VendorsTest, TheLongestPrefixWins) {
  write("oui.csv", "MA-L,001122,Large,\r\nMA-L,0050C2,Old,\r\n");
  write("mam.csv", "MA-M,0011223,Medium,\r\n");
  write("oui36.csv", "MA-S,001122334,Small,\r\n");
  write("iab.csv", "IAB,0050C2001,Individual,\r\n");
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "Small");
  EXPECT_EQ(vendorOf("00:11:22:33:54:55"), "Medium");
  EXPECT_EQ(vendorOf("00:11:22:43:44:55"), "Large");
  EXPECT_EQ(vendorOf("00:50:C2:00:11:55"), "Individual");
}

TEST_F(VendorsTest, OfSeveralOwnersTheFirstIsNamed) {
  write("oui.csv", "MA-L,080030,First,\r\nMA-L,080030,Second,\r\n");
  EXPECT_EQ(vendorOf("08:00:30:00:00:01"), "First");
}

TEST_F(VendorsTest, ABlockThatTheRegistryDividesHasNoOwnerItself) {
  write("oui.csv", "MA-L,001122,IEEE Registration Authority,\r\n");
  write("mam.csv", "MA-M,0011223,Medium,\r\n");
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "Medium");
  EXPECT_EQ(vendorOf("00:11:22:43:44:55"), "");
}

TEST_F(VendorsTest, ALocallyAdministeredAddressHasNoVendor) {
  write("oui.csv", "MA-L,02608C,Somebody,\r\nMA-L,00608C,Somebody,\r\n");
  EXPECT_EQ(vendorOf("02:60:8C:00:00:01"), "");
  EXPECT_EQ(vendorOf("00:60:8C:00:00:01"), "Somebody");
}

TEST_F(VendorsTest, WhatIsNoAddressHasNoVendor) {
  write("oui.csv", "MA-L,001122,Acme Ltd,\r\n");
  for (const char* text : {"", "00:11:22", "00:11:22:33:44:5", "00:11:22:33:44:55:66", "00:11:22:33:44:5G", "\xff"}) {
    EXPECT_EQ(vendorOf(text), "") << text;
  }
}

TEST_F(VendorsTest, AnAddressThatWasNotAskedForHasNoVendor) {
  write("oui.csv", "MA-L,001122,Acme Ltd,\r\n");
  EXPECT_EQ(Vendors(folder_, {}).vendorOf("00:11:22:33:44:55"), "");
}

TEST_F(VendorsTest, WhatIsNoRegistryTellsNothing) {
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "");
  ASSERT_TRUE(std::filesystem::create_directory(std::string(folder_) + "/oui.csv"));
  ASSERT_EQ(std::system((std::string("mkfifo ") + folder_ + "/mam.csv").c_str()), 0);
  write("oui36.csv", std::string(300000, '"') + "\n,,,\n\n" + std::string(1000, '\0') + "MA-L,,,\r\nMA-L");
  write("iab.csv", "MA-L,001122,Acme Ltd,\r\n");
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "Acme Ltd");
}

TEST_F(VendorsTest, ARegistryIsFoundThroughALink) {
  write("real", "MA-L,001122,Acme Ltd,\r\n");
  std::filesystem::create_symlink("real", std::string(folder_) + "/oui.csv");
  EXPECT_EQ(vendorOf("00:11:22:33:44:55"), "Acme Ltd");
}

}  // namespace
