// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "platform/text/Utf8.h"
#include "tools/servicescan/TargetFile.h"

namespace ServiceScan {
namespace {

class TargetFileTest : public testing::Test {
 protected:
  ~TargetFileTest() override { unlink(path_); }

  void read(std::string_view text) {
    std::ofstream(path_) << text;
    targets_ = Targets();
    complaints_.clear();
    const XCode result = readTargets(
        path_, [this](const String& line) { complaints_.emplace_back(line.c_str()); }, targets_);
    EXPECT_TRUE(result.isSuccess()) << result.toString().c_str();
    for (const Probe& probe : targets_.probes) {
      EXPECT_EQ(probe.state == Probe::State::ENDED, !probe.reason.isEmpty());
      EXPECT_FALSE(probe.successful);
    }
  }
  String errorOf(const char* path) {
    const XCode result = readTargets(
        path, [](const String&) { ADD_FAILURE(); }, targets_);
    EXPECT_TRUE(result.isErr());
    EXPECT_TRUE(targets_.hosts.empty());
    return result.toString();
  }
  // E.g. "10.0.0.1 http:80 ping:0", with reasons in brackets.
  std::string describe() const {
    std::string text;
    for (const Host& host : targets_.hosts) {
      text += host.text.c_str();
      for (ProbeIndex index = host.firstProbe; index < host.endProbe; ++index) {
        const Probe& probe = targets_.probes[index];
        EXPECT_EQ(&targets_.hosts[probe.host], &host);
        text += std::string(" ") + probe.name.c_str() + ":" + std::to_string(probe.port);
        if (!probe.reason.isEmpty()) text += std::string("(") + probe.reason.c_str() + ")";
      }
      text += '\n';
    }
    return text;
  }
  std::string described(std::string_view text) {
    read(text);
    return describe();
  }

  char path_[40] = "/tmp/servicescan-targets-XXXXXX";
  const int descriptor_ = mkstemp(path_);
  const int closed_ = close(descriptor_);
  Targets targets_;
  std::vector<std::string> complaints_;
};

TEST_F(TargetFileTest, EachLineIsAHostWithItsServices) {
  EXPECT_EQ(described("192.0.2.20 http:80 http:8080 https:443 snmp:161 sip:5060 ping:0\n192.0.2.21 ping:0\n"),
            "192.0.2.20 http:80 http:8080 https:443 snmp:161 sip:5060 ping:0\n192.0.2.21 ping:0\n");
  ASSERT_EQ(targets_.probes.size(), 7U);
  EXPECT_EQ(targets_.hosts[0].address, 0xc0000214U);
  EXPECT_EQ(targets_.addressOf(targets_.probes[6]), 0xc0000215U);
  EXPECT_EQ(targets_.probes[0].service, Service::HTTP);
  EXPECT_EQ(targets_.probes[2].service, Service::HTTPS);
  EXPECT_EQ(targets_.probes[3].service, Service::SNMP);
  EXPECT_EQ(targets_.probes[4].service, Service::SIP);
  EXPECT_EQ(targets_.probes[5].service, Service::PING);
  EXPECT_TRUE(complaints_.empty());
}

TEST_F(TargetFileTest, AnEmptyFileHasNoHosts) {
  for (const char* text : {"", "\n", "\n\n \t\r\n", "\r\n"}) {
    EXPECT_EQ(described(text), "");
    EXPECT_TRUE(complaints_.empty());
  }
}

TEST_F(TargetFileTest, BlanksAndLineEndsMayBeOfAnyKind) {
  EXPECT_EQ(described("\r\n  10.0.0.1\thttp:80   ping:0 \r\n\n\v\f10.0.0.2 sip:5060\r\n\r\n10.0.0.3 snmp:161"),
            "10.0.0.1 http:80 ping:0\n10.0.0.2 sip:5060\n10.0.0.3 snmp:161\n");
  EXPECT_TRUE(complaints_.empty());
}

TEST_F(TargetFileTest, AHostMayHaveNothingToAsk) {
  EXPECT_EQ(described("10.0.0.1\n10.0.0.2 ping:0\n10.0.0.3"), "10.0.0.1\n10.0.0.2 ping:0\n10.0.0.3\n");
}

TEST_F(TargetFileTest, EqualHostsAndServicesAreAskedAsOftenAsTheyStand) {
  EXPECT_EQ(described("10.0.0.1 ping:0 ping:0\n10.0.0.1 ping:0\n"), "10.0.0.1 ping:0 ping:0\n10.0.0.1 ping:0\n");
}

TEST_F(TargetFileTest, PortsHaveTheirRange) {
  EXPECT_EQ(described("10.0.0.1 http:1 http:65535 sip:00080"), "10.0.0.1 http:1 http:65535 sip:80\n");
  for (const char* port : {"0", "65536", "99999999999999999999", "-1", "+80", "80x", "x", "", "8 0", "0x50", "80.0"}) {
    read(std::string("10.0.0.1 https:") + port);
    ASSERT_FALSE(targets_.probes.empty());
    EXPECT_EQ(targets_.probes[0].name, "https");
    EXPECT_EQ(targets_.probes[0].reason, port == std::string_view("8 0") ? "" : "Invalid port") << port;
  }
}

TEST_F(TargetFileTest, APingHasAPortThatDoesNotMatter) {
  EXPECT_EQ(described("10.0.0.1 ping:0 ping:7 ping:70000 ping:-1 ping:x ping: ping"),
            "10.0.0.1 ping:0 ping:7 ping:0 ping:0 ping:0 ping:0 ping:0\n");
  EXPECT_TRUE(complaints_.empty());
}

TEST_F(TargetFileTest, AServiceWithoutAPortIsAtItsUsualOne) {
  EXPECT_EQ(described("10.0.0.1 ping http https snmp sip"), "10.0.0.1 ping:0 http:80 https:443 snmp:161 sip:5060\n");
  EXPECT_TRUE(complaints_.empty());
}

TEST_F(TargetFileTest, CommentsDoNotCount) {
  EXPECT_EQ(described("# printers\n  #10.0.0.1 ping\n10.0.0.2 ping\n#\n"), "10.0.0.2 ping:0\n");
  EXPECT_TRUE(complaints_.empty());
}

// A name that a stranger has given a service must not hide the others of its host.
TEST_F(TargetFileTest, BehindAnAddressNothingIsAComment) {
  EXPECT_EQ(described("10.0.0.1 #x:80 ping:0"), "10.0.0.1 #x:80(Unknown service) ping:0\n");
}

TEST_F(TargetFileTest, AFileWithoutAnythingToAskIsTold) {
  for (const char* text : {"printer ping", "10.0.0.1 ftp:21", "10.0.0.1 http:0\n10.0.0.300 ping\n"}) {
    read(text);
    EXPECT_TRUE(isAllWrong(targets_)) << text;
  }
  for (const char* text : {"", "# printer", "10.0.0.1", "10.0.0.1 ftp:21 ping", "printer ping\n10.0.0.1 ping"}) {
    read(text);
    EXPECT_FALSE(isAllWrong(targets_)) << text;
  }
}

TEST_F(TargetFileTest, UnknownServicesKeepNameAndPort) {
  EXPECT_EQ(described("10.0.0.1 ftp:21 HTTP:80 httpx:1 http: :80 : a:b:80 http:80:90 ::"),
            "10.0.0.1 ftp:21(Unknown service) HTTP:80(Unknown service) httpx:1(Unknown service) http:0(Invalid port)"
            " :80(Unknown service) :0(Unknown service) a:b:80(Unknown service)"
            " http:80:90(Unknown service) ::0(Unknown service)\n");
  EXPECT_EQ(complaints_.size(), 9U);
}

TEST_F(TargetFileTest, AComplaintNamesLineReasonAndWord) {
  read("\n10.0.0.1 ftp:21\n\n10.0.0.2 ping:0 http:0\n10.0.0.300 ping:0 x:1\n");
  EXPECT_EQ(complaints_,
            (std::vector<std::string>{"line 2: Unknown service: ftp:21", "line 4: Invalid port: http:0",
                                      "line 5: Not an IPv4 address: 10.0.0.300", "line 5: Unknown service: x:1"}));
}

TEST_F(TargetFileTest, AWrongAddressEndsAllItsProbes) {
  for (const char* address : {"10.0.0.300", "10.0.0", "10.0.0.1.2", "010.0.0.1", "10.0.0.1/24", "::1", "host", "*",
                              "-1", "10.0.0.1:80", "0x0a000001", "167772161"}) {
    EXPECT_EQ(described(std::string(address) + " ping:0 ftp:21\n10.0.0.1 ping:0"),
              std::string(address) + " ping:0(Not an IPv4 address) ftp:21(Not an IPv4 address)\n10.0.0.1 ping:0\n");
    EXPECT_EQ(targets_.hosts[0].reason, "Not an IPv4 address");
    EXPECT_EQ(targets_.hosts[0].address, 0U);
    EXPECT_TRUE(targets_.hosts[1].reason.isEmpty());
  }
}

TEST_F(TargetFileTest, WhatIsNoUtf8IsReplacedInTextsAndEscapedInComplaints) {
  read("10.0.0.\xff \xe9\x1b[2J:80 \xc3\xa9:80");
  EXPECT_EQ(targets_.hosts[0].text, "10.0.0.\xef\xbf\xbd");
  EXPECT_EQ(targets_.probes[0].name, "\xef\xbf\xbd\x1b[2J");
  EXPECT_EQ(targets_.probes[1].name, "\xc3\xa9");
  for (const std::string& line : complaints_) {
    EXPECT_TRUE(isValidUtf8(line));
    EXPECT_EQ(line.find('\x1b'), std::string::npos);
  }
}

TEST_F(TargetFileTest, NulBytesArePartOfTheirWord) {
  using namespace std::string_literals;
  read("10.0.0.1\0 ping:0\n10.0.0.2 ping\0:0 ping:0\0\n"s);
  EXPECT_EQ(targets_.hosts[0].reason, "Not an IPv4 address");
  EXPECT_EQ(targets_.probes[1].reason, "Unknown service");
  EXPECT_EQ(targets_.probes[2].reason, "");
}

TEST_F(TargetFileTest, LongWordsAndLinesAreRead) {
  const std::string word(1 << 20, 'w');
  std::string services;
  for (int count = 0; count < 10'000; ++count) services += " ping:0";
  read(word + " ping:0\n10.0.0.1 " + word + ":80" + services);
  EXPECT_EQ(targets_.hosts[0].text, word.c_str());
  ASSERT_EQ(targets_.probes.size(), 10'002U);
  EXPECT_EQ(targets_.probes[1].name, word.c_str());
  EXPECT_EQ(targets_.probes[1].port, 80U);
}

TEST_F(TargetFileTest, AnUnreadableFileIsAnError) {
  EXPECT_EQ(errorOf("/nowhere/targets"), "No such file or directory");
  EXPECT_EQ(errorOf("/tmp"), "Is a directory");
  EXPECT_EQ(errorOf(""), "No such file or directory");
  EXPECT_EQ(errorOf("/proc/self/mem"), "Input/output error");
}

TEST_F(TargetFileTest, AnEndlessFileIsAnError) { EXPECT_EQ(errorOf("/dev/zero"), "File too large"); }

}  // namespace
}  // namespace ServiceScan
