// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <osipparser2/osip_message.h>
#include <osipparser2/osip_parser.h>

#include <memory>
#include <string>

#include "platform/text/Utf8.h"
#include "tests/tools/servicescan/Damage.h"
#include "tools/servicescan/Model.h"
#include "tools/servicescan/SipMessage.h"

namespace ServiceScan {
namespace {

constexpr SipRequest REQUEST{0x0123456789abcdef, 42, 0xc0000201, 0xc0000214, 40000, 5060};
constexpr char ITS_CALL_ID[] = "0123456789abcdef-0000002a";

std::string respond(const std::string& headers, const char* status = "200 OK") {
  return "SIP/2.0 " + std::string(status) +
         "\r\nVia: SIP/2.0/UDP 192.0.2.1:40000;rport;branch=z9hG4bK0123456789abcdef-0000002a\r\n"
         "From: <sip:servicescan@192.0.2.1>;tag=x\r\nTo: <sip:192.0.2.20:5060>;tag=y\r\nCSeq: 1 OPTIONS\r\n" +
         headers + "Content-Length: 0\r\n\r\n";
}

std::string withCallId(const std::string& headers, const char* status = "200 OK") {
  return respond("Call-ID: " + std::string(ITS_CALL_ID) + "\r\n" + headers, status);
}

// The model that a response has to give; everything else of it is checked on the way.
std::string modelOf(const std::string& text) {
  SipResponse response{};
  bool isRead = false;
  readExactly(text, [&](std::string_view exact) { isRead = readSipResponse(exact, response); });
  EXPECT_TRUE(isRead) << text;
  EXPECT_EQ(response.cookie, REQUEST.cookie);
  EXPECT_EQ(response.number, REQUEST.number);
  return response.model.c_str();
}

bool isRefused(const std::string& text) {
  SipResponse response{};
  return !readSipResponse(text, response);
}

class SipRequestTest : public testing::Test {
 protected:
  SipRequestTest() {
    parser_init();
    osip_message_init(&message_);
  }
  ~SipRequestTest() override { osip_message_free(message_); }
  // What a SIP library makes of a request.
  void write(const SipRequest& request) {
    char text[768];
    const std::size_t length = writeSipOptions(request, text);
    ASSERT_GT(length, 0U);
    ASSERT_EQ(osip_message_parse(message_, text, length), 0);
  }

  osip_message_t* message_ = nullptr;
};

TEST_F(SipRequestTest, IsAnOptionsRequestToTheHost) {
  write(REQUEST);
  ASSERT_TRUE(MSG_IS_OPTIONS(message_));
  EXPECT_STREQ(message_->sip_version, "SIP/2.0");
  EXPECT_STREQ(message_->req_uri->host, "192.0.2.20");
  EXPECT_STREQ(message_->req_uri->port, "5060");
  EXPECT_STREQ(message_->to->url->host, "192.0.2.20");
  EXPECT_STREQ(message_->cseq->number, "1");
  EXPECT_STREQ(message_->cseq->method, "OPTIONS");
  EXPECT_STREQ(message_->content_length->value, "0");
  osip_header_t* header = nullptr;
  osip_message_header_get_byname(message_, "max-forwards", 0, &header);
  ASSERT_NE(header, nullptr);
  EXPECT_STREQ(header->hvalue, "70");
}

TEST_F(SipRequestTest, NamesWhereTheAnswerComesTo) {
  write(REQUEST);
  osip_via_t* via = nullptr;
  osip_message_get_via(message_, 0, &via);
  ASSERT_NE(via, nullptr);
  EXPECT_STREQ(via->protocol, "UDP");
  EXPECT_STREQ(via->host, "192.0.2.1");
  EXPECT_STREQ(via->port, "40000");
  osip_generic_param_t* branch = nullptr;
  osip_via_param_get_byname(via, const_cast<char*>("branch"), &branch);
  ASSERT_NE(branch, nullptr);
  EXPECT_TRUE(std::string_view(branch->gvalue).starts_with("z9hG4bK"));
  osip_contact_t* contact = nullptr;
  osip_message_get_contact(message_, 0, &contact);
  ASSERT_NE(contact, nullptr);
  EXPECT_STREQ(contact->url->host, "192.0.2.1");
  EXPECT_STREQ(contact->url->port, "40000");
}

TEST_F(SipRequestTest, HasNothingButThis) {
  char text[768];
  EXPECT_EQ(std::string_view(text, writeSipOptions(REQUEST, text)),
            "OPTIONS sip:192.0.2.20:5060 SIP/2.0\r\n"
            "Via: SIP/2.0/UDP 192.0.2.1:40000;rport;branch=z9hG4bK0123456789abcdef-0000002a\r\n"
            "Max-Forwards: 70\r\n"
            "From: <sip:servicescan@192.0.2.1>;tag=0123456789abcdef-0000002a\r\n"
            "To: <sip:192.0.2.20:5060>\r\n"
            "Call-ID: 0123456789abcdef-0000002a\r\n"
            "CSeq: 1 OPTIONS\r\n"
            "Contact: <sip:servicescan@192.0.2.1:40000>\r\n"
            "Accept: application/sdp\r\n"
            "Content-Length: 0\r\n\r\n");
}

TEST_F(SipRequestTest, CarriesCookieAndNumber) {
  write(REQUEST);
  EXPECT_STREQ(message_->call_id->number, ITS_CALL_ID);
}

TEST_F(SipRequestTest, TheLargestNumbersFit) {
  write({~std::uint64_t{0}, ~std::uint32_t{0}, 0xffffffff, 0xffffffff, 65535, 65535});
  EXPECT_STREQ(message_->call_id->number, "ffffffffffffffff-ffffffff");
  EXPECT_STREQ(message_->req_uri->host, "255.255.255.255");
}

// It is never fragmented. Linux believes in no path's MTU below 552, of which the headers of IP and UDP take 28.
TEST_F(SipRequestTest, FitsIntoOnePacketOfAnyNetwork) {
  char text[768];
  const SipRequest longest{~std::uint64_t{0}, ~std::uint32_t{0}, 0xffffffff, 0xffffffff, 65535, 65535};
  EXPECT_LE(writeSipOptions(longest, text), 552U - 28);
}

TEST(SipMessageTest, ARequestThatDoesNotFitHasNoLength) {
  char text[768];
  const std::size_t length = writeSipOptions(REQUEST, text);
  const auto memory = std::make_unique<char[]>(length);
  EXPECT_EQ(writeSipOptions(REQUEST, {memory.get(), length}), length);
  EXPECT_EQ(writeSipOptions(REQUEST, {memory.get(), length - 1}), 0U);
  EXPECT_EQ(writeSipOptions(REQUEST, {memory.get(), 1}), 0U);
  EXPECT_EQ(writeSipOptions(REQUEST, {memory.get(), 0}), 0U);
}

TEST(SipMessageTest, UserAgentIsTheModelOrElseServer) {
  EXPECT_EQ(modelOf(withCallId("User-Agent: Varnel Phone 3\r\n")), "Varnel Phone 3");
  EXPECT_EQ(modelOf(withCallId("Server: Varnel PBX\r\n")), "Varnel PBX");
  EXPECT_EQ(modelOf(withCallId("Server: Varnel PBX\r\nUser-Agent: Varnel Phone 3\r\n")), "Varnel Phone 3");
  EXPECT_EQ(modelOf(withCallId("USER-AGENT:x\r\n")), "x");
  EXPECT_EQ(modelOf(withCallId("User-Agent:\r\nServer: y\r\n")), "y");
  EXPECT_EQ(modelOf(withCallId("")), "");
}

TEST(SipMessageTest, AModelIsOneLineOfValidUtf8OfSaneLength) {
  EXPECT_EQ(modelOf(withCallId("User-Agent: R\xe9seau\x1b[2J\x7f\r\n")), "R\xef\xbf\xbdseau [2J");
  EXPECT_EQ(modelOf(withCallId("User-Agent: " + std::string(10'000, 'm') + "\r\n")), std::string(MAX_MODEL_BYTES, 'm'));
}

TEST(SipMessageTest, CompactAndFoldedHeadersAreRead) {
  EXPECT_EQ(modelOf("SIP/2.0 200 OK\r\nv: SIP/2.0/UDP 192.0.2.1:40000;branch=z9hG4bKx\r\nf: <sip:a@192.0.2.1>;tag=x\r\n"
                    "t: <sip:192.0.2.20>;tag=y\r\ni: " +
                    std::string(ITS_CALL_ID) + "\r\nCSeq: 1 OPTIONS\r\nServer: Compact\r\nl: 0\r\n\r\n"),
            "Compact");
  const std::string folded = modelOf(withCallId("User-Agent: Varnel\r\n Phone\r\n\t3\r\n"));
  EXPECT_TRUE(folded.starts_with("Varnel") && folded.ends_with("3")) << folded;
}

TEST(SipMessageTest, AResponseOfThousandsOfPiecesIsRead) {
  std::string headers;
  for (int count = 0; count < 300; ++count) headers += "k:a,b\r\n";
  EXPECT_EQ(modelOf(withCallId(headers + "User-Agent: Varnel\r\n")), "Varnel");
}

TEST(SipMessageTest, AnyStatusIsRead) {
  for (const unsigned status : {100U, 180U, 200U, 302U, 404U, 486U, 503U, 603U}) {
    SipResponse response{};
    ASSERT_TRUE(readSipResponse(withCallId("", (std::to_string(status) + " Reason").c_str()), response));
    EXPECT_EQ(response.status, status);
  }
}

TEST(SipMessageTest, AForeignCallIdIsNoneOfOurs) {
  EXPECT_TRUE(isRefused(respond("")));
  for (const char* callId : {"abc", "a84b4c76e66710@192.0.2.33", "0123456789abcdef", "0123456789abcdef-", "-0000002a",
                             "0123456789abcdef_0000002a"}) {
    EXPECT_TRUE(isRefused(respond("Call-ID: " + std::string(callId) + "\r\n"))) << callId;
  }
  SipResponse response{};
  ASSERT_TRUE(readSipResponse(respond("Call-ID: fedcba9876543210-0000002a\r\n"), response));
  EXPECT_NE(response.cookie, REQUEST.cookie);
}

TEST(SipMessageTest, WhatIsNoResponseIsRefused) {
  EXPECT_TRUE(isRefused(""));
  EXPECT_TRUE(isRefused("\r\n\r\n"));
  EXPECT_TRUE(isRefused("SIP/2.0 "));
  EXPECT_TRUE(isRefused("SIP/2.0 200 OK\r\n"));
  EXPECT_TRUE(isRefused("HTTP/1.1 200 OK\r\n\r\n"));
  EXPECT_TRUE(isRefused(std::string(2048, '\0')));
  EXPECT_TRUE(isRefused(std::string(2048, '\xff')));
  char request[768];
  EXPECT_TRUE(isRefused(std::string(request, writeSipOptions(REQUEST, request))));
  for (const char* status : {"OK", "2x0 OK", "-200 OK", "", "99999999999 OK", "20 OK", "1000 OK"}) {
    EXPECT_TRUE(isRefused(withCallId("", status))) << status;
  }
}

TEST(SipMessageTest, DamageDoesNoHarm) {
  int readable = 0;
  int refused = 0;
  readDamaged(withCallId("Contact: <sip:192.0.2.20;transport=udp>\r\nAllow: INVITE, OPTIONS\r\nUser-Agent: Varnel\r\n"),
              2000, [&](std::string_view damaged) {
                SipResponse response{};
                const bool isRead = readSipResponse(damaged, response);
                ++(isRead ? readable : refused);
                EXPECT_TRUE(!isRead || (isValidUtf8(response.model) && response.model.length() <= MAX_MODEL_BYTES));
              });
  EXPECT_GT(readable, 100);
  EXPECT_GT(refused, 100);
}

}  // namespace
}  // namespace ServiceScan
