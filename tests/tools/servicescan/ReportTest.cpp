// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "platform/property/Value.h"
#include "platform/text/Utf8.h"
#include "tools/servicescan/Report.h"

namespace ServiceScan {
namespace {

using Print = void (*)(const Targets&, std::FILE*);

void printWidely(const Targets& targets, std::FILE* stream) { printTable(targets, {}, stream); }
void printNarrowly(const Targets& targets, std::FILE* stream) { printTable(targets, {40}, stream); }

class ReportTest : public testing::Test {
 protected:
  void addHost(const char* text, const char* reason = "") {
    const auto next = static_cast<ProbeIndex>(targets_.probes.size());
    targets_.hosts.push_back({text, reason, 0, next, next});
  }
  Probe& addProbe(const char* name, std::uint16_t port, const char* reason = "") {
    Probe probe{};
    probe.name = name;
    probe.port = port;
    probe.host = static_cast<std::uint32_t>(targets_.hosts.size() - 1);
    probe.reason = reason;
    probe.successful = probe.reason.isEmpty();
    probe.state = Probe::State::ENDED;
    targets_.probes.push_back(probe);
    ++targets_.hosts.back().endProbe;
    return targets_.probes.back();
  }
  void addExamples() {
    addHost("192.0.2.20");
    addProbe("http", 80);
    Probe& snmp = addProbe("snmp", 161);
    snmp.model = "Varnel 7 \"Größe\"";
    snmp.systemObjectId = "1.3.6.1.4.1.99999.1";
    addProbe("sip", 5060, "No answer");
    addProbe("ping", 0);
    addHost("192.0.2.3");
    addHost("nonsense", "Not an IPv4 address");
    addProbe("ping", 0, "Not an IPv4 address");
    addHost("192.0.2.4");
    addProbe("https", 443, "Connection refused");
    addProbe("sip", 5060).model = "Telephone";
  }
  std::string printed(Print print) const {
    char* text = nullptr;
    std::size_t length = 0;
    std::FILE* const stream = open_memstream(&text, &length);
    print(targets_, stream);
    std::fclose(stream);
    const std::string result(text, length);
    std::free(text);
    return result;
  }

  Targets targets_;
};

TEST_F(ReportTest, JsonIsOneDocumentOnOneLine) {
  addExamples();
  EXPECT_EQ(
      printed(printJson),
      R"({"nodes":[{"ipAddress":"192.0.2.20","services":[{"service":"http","port":80,"successful":true},)"
      R"({"service":"snmp","port":161,"successful":true,"model":"Varnel 7 \"Größe\"","systemObjectID":"1.3.6.1.4.1.99999.1"},)"
      R"({"service":"sip","port":5060,"successful":false,"reason":"No answer"},)"
      R"({"service":"ping","port":0,"successful":true}]},)"
      R"({"ipAddress":"192.0.2.3","services":[]},)"
      R"({"ipAddress":"nonsense","successful":false,"reason":"Not an IPv4 address",)"
      R"("services":[{"service":"ping","port":0,"successful":false,"reason":"Not an IPv4 address"}]},)"
      R"({"ipAddress":"192.0.2.4","services":[{"service":"https","port":443,"successful":false,"reason":"Connection refused"},)"
      R"({"service":"sip","port":5060,"successful":true,"model":"Telephone"}]}]})"
      "\n");
}

TEST_F(ReportTest, NoHostsAreAnEmptyList) { EXPECT_EQ(printed(printJson), "{\"nodes\":[]}\n"); }

TEST_F(ReportTest, JsonIsValidWhateverStoodInTheFile) {
  addHost("\x1b\"\\\t\x7f");
  addProbe("a\nb\xc2\x80", 1, "Unknown service");
  const std::string text = printed(printJson);
  KX::Property::Value value;
  ASSERT_TRUE(value.fromJson(text).isSuccess()) << text;
  const KX::Property::Value& host = value["nodes"_s].elements()[0];
  EXPECT_EQ(host["ipAddress"_s].toString(), "\x1b\"\\\t\x7f");
  EXPECT_EQ(host["services"_s].elements()[0]["service"_s].toString(), "a\nb\xc2\x80");
}

TEST_F(ReportTest, TheTableHasALineForEachHost) {
  addExamples();
  EXPECT_EQ(printed(printWidely),
            "ADDRESS     AVAILABLE              MISSING    MODEL\n"
            "192.0.2.20  http:80 snmp:161 ping  sip:5060   Varnel 7 \"Größe\"\n"
            "192.0.2.3\n"
            "nonsense                           ping\n"
            "192.0.2.4   sip:5060               https:443  Telephone\n");
}

TEST_F(ReportTest, ANarrowTerminalKeepsAddressesAndWhatIsAvailable) {
  addExamples();
  EXPECT_EQ(printed(printNarrowly),
            "ADDRESS     AVAILABLE      MODEL\n"
            "192.0.2.20  http:80 snmp…  Varnel 7 \"Gr…\n"
            "192.0.2.3\n"
            "nonsense\n"
            "192.0.2.4   sip:5060       Telephone\n");
}

TEST_F(ReportTest, WithoutHostsThereIsNoTable) { EXPECT_EQ(printed(printWidely), ""); }

TEST_F(ReportTest, NothingInTheTableCommandsATerminal) {
  addHost("\x1b[2J\xff");
  addProbe("a\nb", 1).model = "m\x1b\x9b\r";
  const std::string text = printed(printWidely);
  EXPECT_TRUE(isValidUtf8(text));
  for (const char c : text) EXPECT_TRUE(c == '\n' || (static_cast<unsigned char>(c) >= 0x20 && c != 0x7f)) << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
}

TEST_F(ReportTest, ManyServicesMakeALongLine) {
  addHost("10.0.0.1");
  for (std::uint16_t port = 1; port <= 5000; ++port) addProbe("http", port);
  const std::string text = printed(printWidely);
  EXPECT_NE(text.find(" http:5000"), std::string::npos);
}

}  // namespace
}  // namespace ServiceScan
