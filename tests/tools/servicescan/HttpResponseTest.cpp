// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "tests/tools/servicescan/Damage.h"
#include "tools/servicescan/HttpResponse.h"

namespace ServiceScan {
namespace {

using State = HttpResponse::State;

constexpr std::string_view RESPONSE =
    "HTTP/1.1 200 OK\r\nServer: unit\r\nContent-Type: text/html\r\nContent-Length: 5\r\n\r\nHello";

State read(std::string_view text) {
  HttpResponse response;
  return response.feed(text);
}

// In pieces of that many bytes, until it is decided.
State readPieces(std::string_view text, std::size_t size) {
  HttpResponse response;
  State state = State::INCOMPLETE;
  while (state == State::INCOMPLETE && !text.empty()) {
    readExactly(text.substr(0, size), [&](std::string_view piece) { state = response.feed(piece); });
    text.remove_prefix(std::min(size, text.size()));
  }
  return state;
}

TEST(HttpResponseTest, TheHeadIsEnough) {
  EXPECT_EQ(read(RESPONSE), State::COMPLETE);
  EXPECT_EQ(read("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n"), State::COMPLETE);
  EXPECT_EQ(read("HTTP/1.0 200 OK\r\n\r\n"), State::COMPLETE);
  EXPECT_EQ(read("HTTP/1.1 204\r\n\r\n"), State::COMPLETE);
  EXPECT_EQ(read("HTTP/1.1 200 OK\nServer: bare line feeds\n\n"), State::COMPLETE);
}

TEST(HttpResponseTest, AnyStatusIsAResponse) {
  for (const char* status : {"100 Continue", "101 Switching Protocols", "301 Moved", "401 Unauthorized",
                             "404 Not Found", "500 Oops", "599 Unheard of"}) {
    const std::string head = "HTTP/1.1 " + std::string(status) + "\r\n\r\n";
    EXPECT_EQ(read(head), State::COMPLETE) << status;
  }
}

TEST(HttpResponseTest, PiecesOfAnySizeAreTheSame) {
  for (std::size_t size = 1; size < RESPONSE.size(); ++size) EXPECT_EQ(readPieces(RESPONSE, size), State::COMPLETE);
}

TEST(HttpResponseTest, NoLessThanTheHeadIsEnough) {
  const std::size_t head = RESPONSE.find("\r\n\r\n") + 4;
  for (std::size_t length = 0; length < head; ++length) {
    EXPECT_EQ(read(RESPONSE.substr(0, length)), State::INCOMPLETE) << length;
  }
  EXPECT_EQ(read(RESPONSE.substr(0, head)), State::COMPLETE);
}

TEST(HttpResponseTest, OtherProtocolsAreNone) {
  for (const char* text :
       {"SSH-2.0-OpenSSH_9.2\r\n", "220 mail ESMTP\r\n", "GET / HTTP/1.1\r\n\r\n", "\x15\x03\x01\x02\x02", "<html>",
        "ICY 200 OK\r\n\r\n", "http/1.1 200 OK\r\n\r\n", "HTTP/1.1 OK\r\n\r\n", "HTTP/x.1 200 OK\r\n\r\n",
        "HTTP/1.1 2000 OK\r\n\r\n", "HTTP/1.1 -20 OK\r\n\r\n", "HTTP 200 OK\r\n\r\n", "\xff\xfb\x01"}) {
    EXPECT_EQ(read(text), State::MALFORMED) << text;
    EXPECT_EQ(readPieces(text, 1), State::MALFORMED) << text;
  }
}

TEST(HttpResponseTest, MalformedHeadersAreNone) {
  for (const char* lines : {"No colon\r\n", "Bad\x01Name: x\r\n", ": nameless\r\n", "Content-Length: many\r\n",
                            "Content-Length: 1\r\nContent-Length: 2\r\n", "Content-Length: 99999999999999999999\r\n"}) {
    EXPECT_EQ(read("HTTP/1.1 200 OK\r\n" + std::string(lines) + "\r\n"), State::MALFORMED) << lines;
  }
}

// All of it is there when the header ends within the limit, wherever the pieces begin.
TEST(HttpResponseTest, AHeadMayBeLong) {
  const std::string start = "HTTP/1.1 200 OK\r\nX: ";
  const std::string head = start + std::string(HttpResponse::MAX_BYTES - start.size() - 4, 'x') + "\r\n\r\n";
  ASSERT_EQ(head.size(), HttpResponse::MAX_BYTES);
  for (const std::size_t size : {std::size_t{1}, std::size_t{4096}, head.size()}) {
    EXPECT_EQ(readPieces(head, size), State::COMPLETE);
  }
}

TEST(HttpResponseTest, ALongerHeadIsNone) {
  for (const char* line : {"x", "X: y\r\n", "\r\n folded"}) {
    std::string head = "HTTP/1.1 200 OK\r\nX: y";
    while (head.size() <= HttpResponse::MAX_BYTES) head += line;
    for (const std::size_t size : {1U, 7U, 4096U}) EXPECT_EQ(readPieces(head, size), State::MALFORMED);
  }
}

TEST(HttpResponseTest, AnEndlessStatusLineIsNone) {
  HttpResponse response;
  ASSERT_EQ(response.feed("HTTP/1.1 200 "), State::INCOMPLETE);
  std::size_t bytes = 13;
  while (response.feed("OK") == State::INCOMPLETE) bytes += 2;
  EXPECT_LE(bytes, HttpResponse::MAX_BYTES);
}

TEST(HttpResponseTest, DamageDoesNoHarm) {
  int complete = 0;
  int malformed = 0;
  readDamaged(RESPONSE, 3000, [&](std::string_view damaged) {
    const State state = read(damaged);
    complete += state == State::COMPLETE ? 1 : 0;
    malformed += state == State::MALFORMED ? 1 : 0;
    // The first verdict stands, so a piece behind it does not matter.
    EXPECT_EQ(readPieces(damaged, 1), state);
  });
  EXPECT_GT(complete, 100);
  EXPECT_GT(malformed, 100);
}

}  // namespace
}  // namespace ServiceScan
