// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tools/client/Message.h"

namespace DeviceDiscovery::Client {
namespace {

const std::string TOKEN = "tokentok";
const std::string JSON = R"({"model":"M","build":"B","supportsOnboarding":true})";

// A datagram of the parts that an answer has.
std::string answer(const std::string& payload, char type = 1, char code = 0x45, const std::string& token = TOKEN,
                   const std::string& options = "\xc1\x32") {
  const char first = static_cast<char>(0x40 | type << 4 | static_cast<int>(token.size()));
  return std::string{first, code, 0x12, 0x34} + token + options + "\xff" + payload;
}

// From memory of exactly its size, where valgrind and the sanitizers see a step too far.
bool reads(const std::string& datagram) {
  const auto memory = std::make_unique<char[]>(datagram.size());
  datagram.copy(memory.get(), datagram.size());
  AnswerReader reader(TOKEN);
  Description description;
  return reader.read({memory.get(), datagram.size()}, description);
}

TEST(MessageTest, TheQuestionIsAGetThatIsNotConfirmed) {
  EXPECT_EQ(composeQuestion(0x1234, TOKEN), "\x58\x01\x12\x34" + TOKEN + "\xb6" + "device");
}

TEST(MessageTest, ThePingIsEmpty) { EXPECT_EQ(composePing(0xfffe), std::string("\x40\x00\xff\xfe", 4)); }

TEST(MessageTest, AnAnswerDescribesItsDevice) {
  AnswerReader reader(TOKEN);
  Description description;
  ASSERT_TRUE(reader.read(answer(JSON), description));
  EXPECT_EQ(description.model, "M");
  EXPECT_EQ(description.build, "B");
  EXPECT_TRUE(description.supportsOnboarding);
  EXPECT_EQ(reader.acknowledgement(), "");
}

TEST(MessageTest, ContentFormatMayBeLeftOut) {
  EXPECT_TRUE(reads(answer(JSON, 1, 0x45, TOKEN, "")));
  EXPECT_FALSE(reads(answer(JSON, 1, 0x45, TOKEN, "\xc1\x28")));  // link format
}

TEST(MessageTest, ADeviceThatWantsItsAnswerConfirmedGetsThat) {
  AnswerReader reader(TOKEN);
  Description description;
  ASSERT_TRUE(reader.read(answer(JSON, 0), description));
  EXPECT_EQ(reader.acknowledgement(), std::string("\x60\x00\x12\x34", 4));
}

TEST(MessageTest, AnswersToOtherQuestionsAndOtherCodesDoNotCount) {
  EXPECT_FALSE(reads(answer(JSON, 1, 0x45, "tokentoc")));
  EXPECT_FALSE(reads(answer(JSON, 1, 0x45, "token")));
  EXPECT_FALSE(reads(answer(JSON, 1, 0x45, "")));
  EXPECT_FALSE(reads(answer(JSON, 2)));                           // an acknowledgement
  EXPECT_FALSE(reads(answer(JSON, 3)));                           // a reset
  EXPECT_FALSE(reads(answer(JSON, 1, 0x01)));                     // a request
  EXPECT_FALSE(reads(answer(JSON, 1, static_cast<char>(0x84))));  // not found
}

TEST(MessageTest, GarbageDoesNotCount) {
  EXPECT_FALSE(reads(""));
  EXPECT_FALSE(reads("hello"));
  EXPECT_FALSE(reads(answer("")));
  EXPECT_FALSE(reads(answer("[]")));
  EXPECT_FALSE(reads(answer(JSON + "x")));
  EXPECT_FALSE(reads(answer(std::string(1152, ' ') + JSON)));
  EXPECT_FALSE(reads(std::string(65000, '\xff')));
}

TEST(MessageTest, DamagedAnswersAreReadWithinTheirBounds) {
  const std::string whole = answer(JSON);
  for (std::size_t length = 0; length < whole.size(); ++length) EXPECT_FALSE(reads(whole.substr(0, length)));
  for (std::size_t index = 0; index < whole.size(); ++index) {
    for (const int bits : {0x01, 0x02, 0x0f, 0x20, 0x80, 0xf0, 0xff}) {
      std::string changed = whole;
      changed[index] = static_cast<char>(changed[index] ^ bits);
      static_cast<void>(reads(changed));
    }
  }
}

}  // namespace
}  // namespace DeviceDiscovery::Client
