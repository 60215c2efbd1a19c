// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "tools/servicescan/TargetArguments.h"

namespace ServiceScan {
namespace {

// E.g. "10.0.0.1 http:80 ping:0;".
std::string described(const std::vector<String>& words) {
  Targets targets;
  const XCode result = readTargets(words, targets);
  EXPECT_TRUE(result.isSuccess()) << result.toString().c_str();
  std::string text;
  for (const Host& host : targets.hosts) {
    text += host.text.c_str();
    for (ProbeIndex index = host.firstProbe; index < host.endProbe; ++index) {
      const Probe& probe = targets.probes[index];
      EXPECT_EQ(&targets.hosts[probe.host], &host);
      EXPECT_EQ(probe.state, Probe::State::WAITING);
      text += std::string(" ") + probe.name.c_str() + ":" + std::to_string(probe.port);
    }
    text += ';';
  }
  return text;
}

std::size_t hostsOf(const std::vector<String>& words) {
  Targets targets;
  EXPECT_TRUE(readTargets(words, targets).isSuccess());
  return targets.hosts.size();
}

std::string errorOf(const std::vector<String>& words) {
  Targets targets;
  const XCode result = readTargets(words, targets);
  EXPECT_TRUE(result.isErr());
  return result.toString().c_str();
}

TEST(TargetArgumentsTest, EveryServiceIsAskedOfEveryHost) {
  EXPECT_EQ(described({"10.0.0.9", "http", "snmp:1161", "10.0.0.3"}),
            "10.0.0.9 http:80 snmp:1161;10.0.0.3 http:80 snmp:1161;");
}

TEST(TargetArgumentsTest, WithoutAServiceAllAreAskedFor) {
  EXPECT_EQ(described({"10.0.0.9"}), "10.0.0.9 ping:0 http:80 https:443 snmp:161 sip:5060;");
}

TEST(TargetArgumentsTest, APrefixIsAllHostsOfIt) {
  EXPECT_EQ(described({"10.0.0.77/30", "ping:x"}), "10.0.0.77 ping:0;10.0.0.78 ping:0;");
  EXPECT_EQ(described({"10.0.0.77/31", "ping"}), "10.0.0.76 ping:0;10.0.0.77 ping:0;");
  EXPECT_EQ(described({"10.0.0.77/32", "ping"}), "10.0.0.77 ping:0;");
  EXPECT_EQ(hostsOf({"10.0.0.0/24"}), 254U);
  EXPECT_EQ(hostsOf({"255.255.255.0/24"}), 254U);
}

TEST(TargetArgumentsTest, ThereAreAtMost4096Hosts) {
  EXPECT_EQ(hostsOf({"10.0.0.0/20", "ping"}), 4094U);
  EXPECT_EQ(hostsOf({"10.0.0.0/20", "10.1.0.0/31", "ping"}), 4096U);
  for (const std::vector<String>& words :
       {std::vector<String>{"10.0.0.0/19"}, {"0.0.0.0/0"}, {"10.0.0.0/20", "10.1.0.0/31", "10.2.0.1"}}) {
    EXPECT_EQ(errorOf(words), "more than 4096 hosts; expecting a file of them");
  }
}

TEST(TargetArgumentsTest, WhatIsNeitherTargetNorServiceIsNamed) {
  for (const char* word : {"printer", "10.0.0", "10.0.0.0/33", "10.0.0.300", "::1", "ftp:21", "", "#"}) {
    EXPECT_EQ(errorOf({"10.0.0.1", word}), std::string("unusable target: \"") + word +
                                               "\", expecting an IPv4 address, a prefix such as 192.0.2.0/24, or ping, "
                                               "http, https, snmp or sip");
  }
  for (const char* word : {"http:0", "https:65536", "sip:", "snmp:x", "http:80:90"}) {
    EXPECT_EQ(errorOf({"10.0.0.1", word}).find(std::string("unusable target: \"") + word + "\", expecting a"), 0U);
  }
}

TEST(TargetArgumentsTest, ServicesAloneAreNobodys) {
  EXPECT_EQ(errorOf({"http", "snmp"}), "expecting an address or a prefix, too");
}

}  // namespace
}  // namespace ServiceScan
