// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent/ServicePort.h"

namespace {

TEST(ServicePortTest, ANameAndAPortAreTakenInTheirOrder) {
  KXVector<ServicePort> services;
  for (const char* text : {"ping:0", "sip:5060", "http:65535", "https:1", "snmp:0161"}) {
    EXPECT_TRUE(addServicePort(text, services)) << text;
  }
  ASSERT_EQ(services.size(), 5U);
  EXPECT_STREQ(services[0].name, "ping");
  EXPECT_EQ(services[2].port, 65535U);
  EXPECT_EQ(services[4].port, 161U);
}

TEST(ServicePortTest, APairIsTakenOnce) {
  KXVector<ServicePort> services;
  for (const char* text : {"http:80", "http:8080", "http:80", "http:080"}) EXPECT_TRUE(addServicePort(text, services));
  EXPECT_EQ(services.size(), 2U);
}

TEST(ServicePortTest, AnythingElseIsRefused) {
  KXVector<ServicePort> services;
  for (const char* text : {"", ":", ":80", "http", "http:", "HTTP:80", "ftp:21", "http:65536", "http:-1", "http:+80",
                           "http: 80", "http:80 ", "http:80:81", "http:0x50", " http:80", "http:80,81"}) {
    EXPECT_FALSE(addServicePort(text, services)) << text;
  }
  EXPECT_FALSE(addServicePort(std::string_view("http:80\0", 8), services));
  EXPECT_TRUE(services.isEmpty());
}

}  // namespace
