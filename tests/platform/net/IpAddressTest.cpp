// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdint>
#include <string_view>

#include "platform/net/IpAddress.h"

namespace {

bool isAddress(std::string_view text) {
  IpAddress address;
  return address.setIpAddrAsString(String(text)).isSuccess();
}

bool isSubnet(std::string_view text) {
  IpAddress address;
  return address.setSubnetAsString(String(text)).isSuccess();
}

TEST(IpAddressTest, DefaultIsEverything) {
  const IpAddress address;
  EXPECT_EQ(address.getV4AddrAsBinaryUInt32(), 0U);
  EXPECT_EQ(address.getV4NetMaskAsBinaryUInt32(), 0U);
  EXPECT_EQ(address.toString(), "0.0.0.0");
}

TEST(IpAddressTest, ReadsDottedQuads) {
  IpAddress address;
  ASSERT_TRUE(address.setIpAddrAsString("192.168.7.254").isSuccess());
  EXPECT_EQ(address.getV4AddrAsBinaryUInt32(), 0xc0a807feU);
  EXPECT_EQ(address.toString(), "192.168.7.254");
  EXPECT_TRUE(isAddress("0.0.0.0"));
  EXPECT_TRUE(isAddress("255.255.255.255"));
}

TEST(IpAddressTest, RefusesEverythingElseAsAnAddress) {
  for (const char* text :
       {"",          "1",        "1.2.3",    "1.2.3.4.5", "1.2.3.256", "1.2.3.1000",     "01.2.3.4",   "1.2.3.00",
        "0x1.2.3.4", "1.2.3.-4", "1.2.3.+4", " 1.2.3.4",  "1.2.3.4 ",  "1.2.3.4\n",      "1.2.3.4/32", "1..3.4",
        ".1.2.3",    "1.2.3.",   "a.b.c.d",  "localhost", "::1",       "::ffff:1.2.3.4", "16909060",   "1.2.3.4x"}) {
    EXPECT_FALSE(isAddress(text)) << text;
  }
  EXPECT_FALSE(isAddress(std::string_view("1.2.3.4\0", 8)));
  EXPECT_FALSE(isAddress(std::string_view("1.2.3.4\0.5", 10)));
}

TEST(IpAddressTest, ErrorLeavesTheAddressUntouched) {
  IpAddress address("10.1.2.3/16");
  EXPECT_EQ(address.setIpAddrAsString("10.1.2.300").toString(), "Invalid IP address");
  EXPECT_EQ(address.setSubnetAsString("10.9.9.9/33").toString(), "Invalid subnet");
  EXPECT_EQ(address.getV4AddrAsBinaryUInt32(), 0x0a010203U);
  EXPECT_EQ(address.getV4NetMaskAsBinaryUInt32(), 0xffff0000U);
}

TEST(IpAddressTest, SubnetHasNetworkAndMask) {
  const IpAddress subnet("172.16.5.9/12");
  EXPECT_EQ(subnet.getV4NetMaskAsBinaryUInt32(), 0xfff00000U);
  EXPECT_EQ(subnet.getV4NetAddrAsBinaryUInt32(), 0xac100000U);
  EXPECT_EQ(subnet.getV4AddrAsBinaryUInt32(), 0xac100509U);
}

TEST(IpAddressTest, EveryPrefixHasItsMask) {
  for (unsigned prefix = 0; prefix <= 32; ++prefix) {
    IpAddress subnet;
    ASSERT_TRUE(subnet.setSubnetAsString(String::format("255.255.255.255/%u", prefix)).isSuccess());
    const auto mask = static_cast<std::uint32_t>(0xffffffffULL << (32 - prefix));
    EXPECT_EQ(subnet.getV4NetMaskAsBinaryUInt32(), mask);
    EXPECT_EQ(subnet.getV4NetAddrAsBinaryUInt32(), mask);
  }
}

TEST(IpAddressTest, RefusesEverythingElseAsASubnet) {
  for (const char* text : {"",
                           "/",
                           "10.0.0.0",
                           "10.0.0.0/",
                           "/8",
                           "10.0.0.0/33",
                           "10.0.0.0/255",
                           "10.0.0.0/-1",
                           "10.0.0.0/+8",
                           "10.0.0.0/ 8",
                           "10.0.0.0/8 ",
                           "10.0.0.0/08",
                           "10.0.0.0/008",
                           "10.0.0.0/8/8",
                           "10.0.0/8",
                           "10.0.0.0 /8",
                           "10.0.0.0/0x8",
                           "10.0.0.0/255.0.0.0",
                           "010.0.0.0/8",
                           "10.0.0.0/4294967304"}) {
    EXPECT_FALSE(isSubnet(text)) << text;
  }
  EXPECT_FALSE(isSubnet(std::string_view("10.0.0.0\0/8", 11)));
  EXPECT_FALSE(isSubnet(std::string_view("10.0.0.0/8\0", 11)));
  EXPECT_TRUE(isSubnet("0.0.0.0/0"));
  EXPECT_TRUE(isSubnet("10.0.0.1/32"));
}

TEST(IpAddressTest, AddressAloneIsTheSubnetOfItself) {
  IpAddress address("10.0.0.0/8");
  ASSERT_TRUE(address.setIpAddrAsString("10.1.2.3").isSuccess());
  EXPECT_EQ(address.getV4NetAddrAsBinaryUInt32(), 0x0a010203U);
  EXPECT_EQ(IpAddress("10.1.2.3").getV4NetMaskAsBinaryUInt32(), 0xffffffffU);
}

TEST(IpAddressTest, TextThatIsNeitherLeavesTheDefault) {
  const IpAddress address("fd00::/8");
  EXPECT_EQ(address.getV4AddrAsBinaryUInt32(), 0U);
  EXPECT_EQ(address.getV4NetMaskAsBinaryUInt32(), 0U);
}

}  // namespace
