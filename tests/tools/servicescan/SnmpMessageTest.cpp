// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tools/servicescan/SnmpMessage.h"

// Each of these needs the one before.
// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/library/snmp_impl.h>
// clang-format on

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/text/Utf8.h"
#include "tests/tools/servicescan/Damage.h"
#include "tools/servicescan/Model.h"

namespace ServiceScan {
namespace {

using Oid = std::vector<oid>;

const Oid DESCRIPTION = {1, 3, 6, 1, 2, 1, 1, 1, 0};
const Oid OBJECT_ID = {1, 3, 6, 1, 2, 1, 1, 2, 0};
const Oid VENDOR = {1, 3, 6, 1, 4, 1, 99999, 1, 7};
constexpr std::uint32_t REQUEST_ID = 0x12345678;

struct Freed {
  void operator()(netsnmp_pdu* pdu) const { snmp_free_pdu(pdu); }
};
using Pdu = std::unique_ptr<netsnmp_pdu, Freed>;

void add(netsnmp_pdu& pdu, const Oid& name, u_char type, const void* value, std::size_t bytes) {
  ASSERT_NE(snmp_pdu_add_variable(&pdu, name.data(), name.size(), type, value, bytes), nullptr);
}

void addText(netsnmp_pdu& pdu, const Oid& name, std::string_view text) {
  add(pdu, name, ASN_OCTET_STR, text.data(), text.size());
}

void addOid(netsnmp_pdu& pdu, const Oid& name, const Oid& value) {
  add(pdu, name, ASN_OBJECT_ID, value.data(), value.size() * sizeof(oid));
}

// A message as the library of an agent makes it.
std::string build(int command, const std::function<void(netsnmp_pdu&)>& fill, long version = SNMP_VERSION_2c) {
  const Pdu pdu(snmp_pdu_create(command));
  pdu->version = version;
  pdu->reqid = REQUEST_ID;
  fill(*pdu);
  netsnmp_session session{};
  session.version = version;
  char community[] = "public";
  session.community = reinterpret_cast<u_char*>(community);
  session.community_len = 6;
  std::vector<u_char> buffer(1 << 18);
  u_char* packet = buffer.data();
  std::size_t size = buffer.size();
  std::size_t offset = 0;
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_REVERSE_ENCODE, 0);
  EXPECT_EQ(snmp_build(&packet, &size, &offset, &session, pdu.get()), 0) << command;
  return {reinterpret_cast<const char*>(packet), size};
}

std::string respond(const std::function<void(netsnmp_pdu&)>& fill) { return build(SNMP_MSG_RESPONSE, fill); }

std::string respondFully() {
  return respond([](netsnmp_pdu& pdu) {
    addText(pdu, DESCRIPTION, "Varnel 7");
    addOid(pdu, OBJECT_ID, VENDOR);
  });
}

SnmpResponse read(const std::string& message) {
  SnmpResponse response{};
  readExactly(message, [&](std::string_view exact) { EXPECT_TRUE(readSnmpResponse(exact, response)); });
  EXPECT_EQ(response.requestId, REQUEST_ID);
  return response;
}

bool isRefused(const std::string& message) {
  SnmpResponse response{};
  bool isRead = true;
  readExactly(message, [&](std::string_view exact) { isRead = readSnmpResponse(exact, response); });
  return !isRead;
}

// BER by hand, for what the library would not build.
std::string element(char tag, const std::string& content) {
  std::string length;
  for (std::size_t rest = content.size(); rest > 0; rest >>= 8U) length.insert(0, 1, static_cast<char>(rest & 0xffU));
  return std::string{tag, static_cast<char>(0x80U | length.size())} + length + content;
}

std::string integer(char value) { return {0x02, 1, value}; }

// The value of an element stands in the first of the two variables, sysDescr.0.
std::string respondByHand(const std::string& name, const std::string& value) {
  const std::string variables = element(0x30, element(0x30, element(0x06, name) + value));
  const std::string pdu = element('\xa2', integer(1) + integer(0) + integer(0) + variables);
  return element(0x30, integer(1) + element(0x04, "public") + pdu);
}

const std::string DESCRIPTION_BYTES("\x2b\x06\x01\x02\x01\x01\x01\x00", 8);

class SnmpGetTest : public testing::Test {
 protected:
  // What a SNMP library makes of a request.
  void write(const String& community, std::uint32_t requestId) {
    char message[768];
    const std::size_t length = writeSnmpGet(community, requestId, message);
    ASSERT_GT(length, 0U);
    std::size_t rest = length;
    u_char text[256];
    std::size_t textLength = sizeof(text);
    u_char* const data = snmp_comstr_parse(reinterpret_cast<u_char*>(message), &rest, text, &textLength, &version_);
    ASSERT_NE(data, nullptr);
    community_.assign(reinterpret_cast<const char*>(text), textLength);
    pdu_.reset(snmp_pdu_create(SNMP_MSG_RESPONSE));
    ASSERT_EQ(snmp_pdu_parse(pdu_.get(), data, &rest), 0);
  }

  long version_ = 0;
  std::string community_;
  Pdu pdu_;
};

TEST_F(SnmpGetTest, AsksForDescriptionAndObjectIdentifier) {
  write("public", REQUEST_ID);
  EXPECT_EQ(version_, SNMP_VERSION_2c);
  EXPECT_EQ(community_, "public");
  EXPECT_EQ(pdu_->command, SNMP_MSG_GET);
  EXPECT_EQ(pdu_->reqid, static_cast<long>(REQUEST_ID));
  std::vector<Oid> names;
  for (const netsnmp_variable_list* variable = pdu_->variables; variable != nullptr;
       variable = variable->next_variable) {
    EXPECT_EQ(variable->type, ASN_NULL);
    names.emplace_back(variable->name, variable->name + variable->name_length);
  }
  EXPECT_EQ(names, (std::vector<Oid>{DESCRIPTION, OBJECT_ID}));
}

TEST_F(SnmpGetTest, EveryIdOf31BitsComesThrough) {
  for (const std::uint32_t requestId : {0U, 1U, 127U, 128U, 0x7fffU, 0x800000U, 0x7fffffffU}) {
    write("public", requestId);
    EXPECT_EQ(pdu_->reqid, static_cast<long>(requestId));
  }
}

TEST_F(SnmpGetTest, TheLongestCommunityFits) {
  const std::string longest(255, 'c');
  write(longest.c_str(), REQUEST_ID);
  EXPECT_EQ(community_, longest);
}

TEST(SnmpMessageTest, ARequestThatDoesNotFitHasNoLength) {
  char message[768];
  const std::size_t length = writeSnmpGet("public", REQUEST_ID, message);
  for (std::size_t size = 0; size < length; ++size) {
    const auto memory = std::make_unique<char[]>(size);
    EXPECT_EQ(writeSnmpGet("public", REQUEST_ID, {memory.get(), size}), 0U) << size;
  }
}

TEST(SnmpMessageTest, AResponseSaysWhatTheHostIs) {
  const SnmpResponse response = read(respondFully());
  EXPECT_EQ(response.description, "Varnel 7");
  EXPECT_EQ(response.objectId, "1.3.6.1.4.1.99999.1.7");
}

TEST(SnmpMessageTest, TheVariablesMayComeInAnyOrder) {
  const SnmpResponse response = read(respond([](netsnmp_pdu& pdu) {
    addOid(pdu, OBJECT_ID, VENDOR);
    addText(pdu, {1, 3, 6, 1, 2, 1, 1, 5, 0}, "name");
    addText(pdu, DESCRIPTION, "Varnel 7");
  }));
  EXPECT_EQ(response.description, "Varnel 7");
  EXPECT_EQ(response.objectId, "1.3.6.1.4.1.99999.1.7");
}

TEST(SnmpMessageTest, AnAgentNeedNotKnowTheObjects) {
  for (const int kind : std::vector<int>{SNMP_NOSUCHOBJECT, SNMP_NOSUCHINSTANCE, SNMP_ENDOFMIBVIEW, ASN_NULL}) {
    const SnmpResponse response = read(respond([kind](netsnmp_pdu& pdu) {
      add(pdu, DESCRIPTION, static_cast<u_char>(kind), nullptr, 0);
      add(pdu, OBJECT_ID, static_cast<u_char>(kind), nullptr, 0);
    }));
    EXPECT_EQ(response.description, "");
    EXPECT_EQ(response.objectId, "");
  }
  EXPECT_EQ(read(respond([](netsnmp_pdu&) {})).description, "");
}

TEST(SnmpMessageTest, AnErrorIsAResponse) {
  const SnmpResponse response = read(respond([](netsnmp_pdu& pdu) {
    pdu.errstat = SNMP_ERR_GENERR;
    pdu.errindex = 1;
    add(pdu, DESCRIPTION, ASN_NULL, nullptr, 0);
  }));
  EXPECT_EQ(response.description, "");
}

TEST(SnmpMessageTest, ValuesOfOtherTypesOrObjectsCountForNothing) {
  const SnmpResponse response = read(respond([](netsnmp_pdu& pdu) {
    const long number = 7;
    add(pdu, DESCRIPTION, ASN_INTEGER, &number, sizeof(number));
    addText(pdu, OBJECT_ID, "text");
    addText(pdu, {1, 3, 6, 1, 2, 1, 1, 1}, "shorter");
    addText(pdu, {1, 3, 6, 1, 2, 1, 1, 1, 0, 0}, "longer");
    addOid(pdu, DESCRIPTION, VENDOR);
  }));
  EXPECT_EQ(response.description, "");
  EXPECT_EQ(response.objectId, "");
}

TEST(SnmpMessageTest, ADescriptionIsOneLineOfValidUtf8OfSaneLength) {
  const auto describe = [](const std::string& text) {
    return read(respond([&](netsnmp_pdu& pdu) { addText(pdu, DESCRIPTION, text); })).description;
  };
  EXPECT_EQ(describe(""), "");
  EXPECT_EQ(describe("Line 1\r\nLine 2\x1b\xe9"), "Line 1  Line 2 \xef\xbf\xbd");
  EXPECT_EQ(describe(std::string(60000, 'm')), std::string(MAX_MODEL_BYTES, 'm').c_str());
}

TEST(SnmpMessageTest, ALongObjectIdentifierIsBounded) {
  Oid longest(MAX_OID_LEN, 0xffffffffU);
  longest[0] = 1;
  longest[1] = 3;
  const SnmpResponse response = read(respond([&](netsnmp_pdu& pdu) { addOid(pdu, OBJECT_ID, longest); }));
  EXPECT_TRUE(response.objectId.view().starts_with("1.3.4294967295."));
  EXPECT_LE(response.objectId.length(), MAX_OID_LEN * 11U);
}

TEST(SnmpMessageTest, AnEndlessObjectIdentifierIsRefused) {
  const std::string text = element(0x04, "x");
  EXPECT_FALSE(isRefused(respondByHand(DESCRIPTION_BYTES, text)));
  EXPECT_TRUE(isRefused(respondByHand("\x2b" + std::string(1000, '\x01'), text)));
  EXPECT_TRUE(isRefused(respondByHand(DESCRIPTION_BYTES, element(0x06, "\x2b" + std::string(1000, '\x01')))));
  EXPECT_TRUE(isRefused(respondByHand("\x2b" + std::string(1000, '\xff'), text)));
  EXPECT_TRUE(isRefused(respondByHand("\x2b\x06\x81", text)));
}

TEST(SnmpMessageTest, OtherMessagesAreNoResponse) {
  const auto fill = [](netsnmp_pdu& pdu) { addText(pdu, DESCRIPTION, "x"); };
  for (const int command :
       std::vector<int>{SNMP_MSG_GET, SNMP_MSG_GETNEXT, SNMP_MSG_SET, SNMP_MSG_INFORM, SNMP_MSG_TRAP2}) {
    EXPECT_TRUE(isRefused(build(command, fill))) << command;
  }
  // The library builds the other two only for its own use.
  const std::string response = respond(fill);
  EXPECT_FALSE(isRefused(response));
  for (const int command : std::vector<int>{SNMP_MSG_REPORT, SNMP_MSG_GETBULK}) {
    std::string changed = response;
    changed.at(changed.find(static_cast<char>(SNMP_MSG_RESPONSE))) = static_cast<char>(command);
    EXPECT_TRUE(isRefused(changed)) << command;
  }
  EXPECT_TRUE(isRefused(build(SNMP_MSG_RESPONSE, fill, SNMP_VERSION_1)));
  EXPECT_TRUE(isRefused(build(
      SNMP_MSG_TRAP,
      [](netsnmp_pdu& pdu) {
        pdu.enterprise = static_cast<oid*>(std::calloc(VENDOR.size(), sizeof(oid)));
        std::copy(VENDOR.begin(), VENDOR.end(), pdu.enterprise);
        pdu.enterprise_length = VENDOR.size();
      },
      SNMP_VERSION_1)));
  char get[768];
  EXPECT_TRUE(isRefused(std::string(get, writeSnmpGet("public", REQUEST_ID, get))));
  EXPECT_TRUE(isRefused(element(0x30, integer(3) + element(0x30, "") + element(0x04, "") + element(0x30, ""))));
}

TEST(SnmpMessageTest, GarbageIsRefused) {
  for (const std::string& text :
       {std::string(), std::string("0"), std::string("\x30\x80", 2), std::string(2048, '\0'), std::string(2048, '\x30'),
        std::string(2048, '\xff'), std::string("\x30\x84\xff\xff\xff\xff"), element(0x30, ""),
        element(0x30, integer(1)), element(0x30, integer(1) + element(0x04, std::string(1000, 'c')))}) {
    EXPECT_TRUE(isRefused(text));
  }
}

TEST(SnmpMessageTest, DamageDoesNoHarm) {
  int readable = 0;
  int refused = 0;
  readDamaged(respondFully(), 5000, [&](std::string_view damaged) {
    SnmpResponse response{};
    const bool isRead = readSnmpResponse(damaged, response);
    ++(isRead ? readable : refused);
    EXPECT_TRUE(!isRead || (isValidUtf8(response.description) && response.description.length() <= MAX_MODEL_BYTES));
  });
  EXPECT_GT(readable, 50);
  EXPECT_GT(refused, 1000);
}

TEST(SnmpMessageTest, NoTruncatedResponseIsRead) {
  const std::string whole = respondFully();
  for (std::size_t length = 0; length < whole.size(); ++length) EXPECT_TRUE(isRefused(whole.substr(0, length)));
}

}  // namespace
}  // namespace ServiceScan
