// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/base/KXVector.h"
#include "platform/base/String.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// So many x, then the tail.
std::string longText(std::size_t count, const char* tail) {
  std::string text(count, 'x');
  return text.append(tail);
}

std::vector<std::string> split(const String& text, const char* separators) {
  std::vector<std::string> pieces;
  for (const String& piece : text.splitAtChars(separators)) pieces.emplace_back(piece.view());
  return pieces;
}

TEST(StringTest, IsOnePointerWide) { EXPECT_EQ(sizeof(String), sizeof(void*)); }

TEST(StringTest, NothingIsTheEmptyString) {
  EXPECT_TRUE(String().isEmpty());
  EXPECT_STREQ(String().c_str(), "");
  EXPECT_EQ(String(static_cast<const char*>(nullptr)), "");
  EXPECT_EQ(String(std::string_view()), "");
  EXPECT_EQ(String("abc", 0), "");
}

TEST(StringTest, CopiesShareOneBuffer) {
  const String text("192.168.1.1");
  const String copy = text;
  String assigned;
  assigned = copy;
  EXPECT_EQ(copy.c_str(), text.c_str());
  EXPECT_EQ(assigned.c_str(), text.c_str());
}

TEST(StringTest, ChangingACopyLeavesTheOthersAlone) {
  const String text("10.0.0.1");
  String copy = text;
  copy.append("/8");
  EXPECT_EQ(text, "10.0.0.1");
  EXPECT_EQ(copy, "10.0.0.1/8");
}

TEST(StringTest, CopyOutlivesTheOriginal) {
  auto original = std::make_unique<String>("a text that lives on");
  const String copy = *original;
  original.reset();
  EXPECT_EQ(copy, "a text that lives on");
}

TEST(StringTest, MovedFromIsEmptyAndUsable) {
  String from("text");
  const String to = std::move(from);
  EXPECT_EQ(to, "text");
  EXPECT_TRUE(from.isEmpty());  // NOLINT(bugprone-use-after-move)
  from.append("again");         // NOLINT(clang-analyzer-cplusplus.Move)
  EXPECT_EQ(from, "again");
}

TEST(StringTest, AssignmentToItselfKeepsTheText) {
  String text("text");
  String& same = text;
  text = same;
  EXPECT_EQ(text, "text");
  text = std::move(same);
  EXPECT_EQ(text, "text");
}

TEST(StringTest, CopiesInSeveralThreadsKeepTheCount) {
  String text{std::string(300, 'x')};
  const auto copyOften = [&text] {
    for (int i = 0; i < 20000; ++i) {
      String copy = text;
      if (i % 1000 == 0) copy.append("changed");
    }
  };
  std::thread first(copyOften);
  std::thread second(copyOften);
  first.join();
  second.join();
  // Nobody else holds the buffer any more, so it is changed in place.
  const char* before = text.c_str();
  text.append("y");
  EXPECT_EQ(text.c_str(), before);
  EXPECT_EQ(text, longText(300, "y"));
}

TEST(StringTest, LongTextGrowsInPlace) {
  String text{std::string(1024, 'x')};
  const char* before = text.c_str();
  for (int i = 0; i < 200; ++i) text.append("x");
  EXPECT_EQ(text.c_str(), before);
  EXPECT_EQ(text, longText(1224, ""));
}

TEST(StringTest, GrowsByteByByteThroughEveryCapacity) {
  String text;
  std::string expected;
  for (int i = 0; i < 5000; ++i) {
    const std::string letter(1, static_cast<char>('a' + i % 26));
    text.append(letter);
    expected += letter;
    ASSERT_EQ(text.length(), expected.size());
    ASSERT_EQ(text.c_str()[text.length()], '\0');
  }
  EXPECT_EQ(text, expected);
}

TEST(StringTest, AppendsItselfAndAPieceOfItself) {
  String text("abcdef");
  text.append(text);
  EXPECT_EQ(text, "abcdefabcdef");
  text.append(text.view().substr(4, 3));
  EXPECT_EQ(text, "abcdefabcdefefa");
  String large(longText(600, "tail"));
  large.append(large.view().substr(590));
  EXPECT_EQ(large, longText(600, "tailxxxxxxxxxxtail"));
}

TEST(StringTest, AppendingNothingKeepsTheBuffer) {
  const String text("text");
  String copy = text;
  copy.append("");
  EXPECT_EQ(copy.c_str(), text.c_str());
}

TEST(StringTest, KeepsNulBytes) {
  const String text("a\0b", 3);
  EXPECT_EQ(text.length(), 3U);
  EXPECT_EQ(text.view(), std::string_view("a\0b", 3));
  EXPECT_FALSE(text == "a");
  EXPECT_FALSE(text == String("a\0c", 3));
  String longer(text);
  longer.append(std::string_view("\0", 1));
  EXPECT_EQ(longer.length(), 4U);
}

TEST(StringTest, ComparesByteForByte) {
  EXPECT_EQ(String("abc"), String("abc"));
  EXPECT_FALSE(String("abc") == String("abd"));
  EXPECT_FALSE(String("abc") == String("abcd"));
  EXPECT_FALSE(String("abc") == String("ABC"));
}

TEST(StringTest, LiteralsNeedNoMemoryOfTheirOwn) {
  const String first = "State changed"_s;
  const String second = "State changed"_s;
  EXPECT_EQ(first.c_str(), second.c_str());
  EXPECT_EQ(first, "State changed");
  EXPECT_TRUE(""_s.isEmpty());
  EXPECT_EQ(""_s.c_str(), String().c_str());
}

TEST(StringTest, LiteralsMayHoldNulBytes) { EXPECT_EQ("a\0b"_s, String("a\0b", 3)); }

TEST(StringTest, AppendingToALiteralLeavesTheLiteralAlone) {
  String text = "[Scheduler] "_s;
  text.append("Created");
  EXPECT_EQ(text, "[Scheduler] Created");
  EXPECT_EQ("[Scheduler] "_s, "[Scheduler] ");
}

TEST(StringTest, FormatsTextsOfEveryLength) {
  EXPECT_EQ(String::format("%s", ""), "");
  EXPECT_EQ(String::format("[Job %s.%u] ", "nightly", 3U), "[Job nightly.3] ");
  for (const std::size_t length : {254U, 255U, 256U, 257U, 4096U, 100000U}) {
    const std::string text(length, 'x');
    const String formatted = String::format("%s!", text.c_str());
    EXPECT_EQ(formatted, text + "!");
    EXPECT_EQ(formatted.c_str()[formatted.length()], '\0');
  }
}

TEST(StringTest, FormattedTextMayBeAppendedTo) {
  String text = String::format("%s", std::string(300, 'x').c_str());
  text.append("y");
  EXPECT_EQ(text, longText(300, "y"));
}

TEST(StringTest, ConcatfAppendsAndMayReadTheStringItself) {
  String text("a");
  text.concatf("-%s-%d", text.c_str(), 7).concatf("%c", '!');
  EXPECT_EQ(text, "a-a-7!");
}

TEST(StringTest, SplitDropsEmptyFields) {
  EXPECT_THAT(split("10.0.0.1\t00:11:22", "\t"), ElementsAre("10.0.0.1", "00:11:22"));
  EXPECT_THAT(split("\t\ta\t \tb \t", "\t "), ElementsAre("a", "b"));
  EXPECT_THAT(split("abc", ","), ElementsAre("abc"));
  EXPECT_THAT(split("", ","), IsEmpty());
  EXPECT_THAT(split(",,,", ","), IsEmpty());
  EXPECT_THAT(split("abc", ""), ElementsAre("abc"));
}

TEST(StringTest, SplitKeepsNulBytesInTheirField) {
  EXPECT_THAT(split(String("a\0b c", 5), " "), ElementsAre(std::string("a\0b", 3), "c"));
}

TEST(StringTest, UpperCaseChangesAToZOnly) {
  String all;
  std::string expected;
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    all.append({&c, 1});
    expected += byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 32) : c;
  }
  EXPECT_EQ(all.toUpperCase(), expected);
  EXPECT_EQ(String().toUpperCase(), "");
}

TEST(StringTest, UpperCaseOfIIsIInATurkishLocaleToo) {
  const std::string before = std::setlocale(LC_ALL, nullptr);
  const bool turkish =
      std::setlocale(LC_ALL, "tr_TR.ISO-8859-9") != nullptr || std::setlocale(LC_ALL, "tr_TR.UTF-8") != nullptr;
  const String upper = String("fe:ab:12 iı").toUpperCase();
  std::setlocale(LC_ALL, before.c_str());
  EXPECT_EQ(upper, "FE:AB:12 Iı");
  if (!turkish) GTEST_SKIP() << "no Turkish locale on this machine";
}

}  // namespace
