// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/text/KXRegEx.h"

namespace {

using Pattern = KXPPtr<KXRegEx::Pattern>;

Pattern compile(std::string_view source) { return KXRegEx::COMPILE_EXPRESSION(String(source)); }

bool matches(std::string_view source, std::string_view text) {
  const Pattern pattern = compile(source);
  return KXLockPtr<KXRegEx::Pattern>(pattern)->match(String(text));
}

TEST(KXRegExTest, OnlyAnEmptyExpressionIsNoPattern) {
  EXPECT_EQ(compile(""), nullptr);
  EXPECT_NE(compile(" "), nullptr);
  EXPECT_NE(compile("("), nullptr);
}

TEST(KXRegExTest, Searches) {
  EXPECT_TRUE(matches("LAN", "VLAN7"));
  EXPECT_FALSE(matches("^LAN", "VLAN7"));
  EXPECT_TRUE(matches("^LAN", "LAN1"));
  EXPECT_FALSE(matches("LAN$", "LAN1"));
  EXPECT_TRUE(matches("^eth[0-9]+(\\.[0-9]+)?$", "eth0.100"));
  EXPECT_TRUE(matches("a|b", "xxb"));
  EXPECT_FALSE(matches("lan", "LAN"));
  EXPECT_TRUE(matches("(?i)lan", "LAN"));
  EXPECT_TRUE(matches(".*", ""));
}

TEST(KXRegExTest, KeepsItsSource) {
  const Pattern pattern = compile("^LAN");
  EXPECT_EQ(pattern->source(), "^LAN");
  EXPECT_TRUE(pattern->error().isSuccess());
}

TEST(KXRegExTest, InvalidExpressionKeepsItsSourceAndMatchesNothing) {
  for (const char* source : {"(", ")", "[a", "*", "a**b(", "\\", "(?<name>a)\\1", "a{2,1}", "(?=a)", "\xff"}) {
    const Pattern pattern = compile(source);
    EXPECT_EQ(pattern->source(), source);
    EXPECT_TRUE(pattern->error().isErr()) << source;
    EXPECT_FALSE(pattern->error().toString().isEmpty());
    EXPECT_FALSE(pattern->match("a"));
    EXPECT_FALSE(pattern->match(""));
    EXPECT_FALSE(pattern->match(source));
  }
  EXPECT_EQ(compile("(")->error().toString(), "missing ): (");
}

TEST(KXRegExTest, ExpressionAbove1024BytesIsTooLong) {
  EXPECT_TRUE(compile(std::string(1024, 'a'))->error().isSuccess());
  EXPECT_TRUE(matches(std::string(1024, 'a'), std::string(2000, 'a')));
  const String source{std::string(1025, 'a')};
  const Pattern pattern = compile(source);
  EXPECT_EQ(pattern->error().toString(), "too long");
  EXPECT_EQ(pattern->source(), source);
  EXPECT_FALSE(pattern->match(source));
}

TEST(KXRegExTest, ExpressionThatNeedsTooMuchMemoryIsRefused) {
  for (const char* source : {"(?:x{1000}){1000}", "x{1001}", "(?:\\pL{100}\\pN{100}){5}", "\\pL{20}", ".{1000}"}) {
    const Pattern pattern = compile(source);
    EXPECT_TRUE(pattern->error().isErr()) << source;
    EXPECT_FALSE(pattern->match(std::string(2000, 'x').c_str()));
  }
}

TEST(KXRegExTest, DeeplyNestedExpressionDoesNoHarm) {
  const std::string source = std::string(512, '(') + std::string(512, ')');
  EXPECT_EQ(compile(source)->source(), source);
  EXPECT_FALSE(compile(std::string(1024, '('))->match("("));
}

// Each of these keeps a backtracking matcher busy for longer than the universe lasts.
TEST(KXRegExTest, MatchingIsLinearForEveryExpression) {
  const std::string text(100000, 'a');
  EXPECT_FALSE(matches("(a*)*b", text));
  EXPECT_FALSE(matches("^(a+)+$", text + "!"));
  EXPECT_FALSE(matches("(a|aa)+c$", text));
  EXPECT_TRUE(matches("(a*)*b", text + "b"));
}

// The automaton of this one would have 2^200 states.
TEST(KXRegExTest, MatchesRightWhereTheAutomatonOutgrowsItsMemory) {
  std::string text;
  for (unsigned i = 0, state = 7; i < 20000; ++i, state = state * 1103515245U + 12345U) {
    text += (state >> 16U) % 2 == 0 ? 'a' : 'b';
  }
  const std::string tail(200, 'b');
  EXPECT_TRUE(matches("a[ab]{200}$", text + "a" + tail));
  EXPECT_FALSE(matches("a[ab]{200}$", text + "b" + tail));
}

TEST(KXRegExTest, CharactersAreThoseOfUtf8) {
  EXPECT_TRUE(matches("^B.ro$", "B\xc3\xbcro"));
  EXPECT_TRUE(matches("^B[\xc3\xbc\xc3\xa4]ro$", "B\xc3\xbcro"));
  EXPECT_FALSE(matches("^B..ro$", "B\xc3\xbcro"));
}

TEST(KXRegExTest, BytesThatAreNoUtf8AreMatchedByNothing) {
  EXPECT_FALSE(matches("^LAN.$", "LAN\xff"));
  EXPECT_TRUE(matches("^LAN", "LAN\xff"));
}

TEST(KXRegExTest, NulBytesAreCharacters) {
  EXPECT_FALSE(matches("^a$", std::string_view("a\0", 2)));
  EXPECT_TRUE(matches("^a.b$", std::string_view("a\0b", 3)));
  EXPECT_FALSE(matches(std::string_view("a\0c", 3), std::string_view("a\0b", 3)));
}

TEST(KXRegExTest, EqualSourcesShareOnePattern) {
  const Pattern pattern = compile("^shared$");
  EXPECT_EQ(compile("^shared$"), pattern);
  EXPECT_NE(compile("^shared"), pattern);
  const Pattern broken = compile("(broken");
  EXPECT_EQ(compile("(broken"), broken);
}

TEST(KXRegExTest, TheLatestPatternsAreKept) {
  const Pattern pattern = compile("^used again and again$");
  for (std::size_t i = 0; i < 10 * KXRegEx::KEPT_PATTERNS; ++i) {
    compile("^other" + std::to_string(i));
    if (i % (KXRegEx::KEPT_PATTERNS - 1) == 0) {
      EXPECT_EQ(compile("^used again and again$"), pattern) << i;
    }
  }
  for (std::size_t i = 0; i < KXRegEx::KEPT_PATTERNS; ++i) compile("^another" + std::to_string(i));
  EXPECT_NE(compile("^used again and again$"), pattern);
}

TEST(KXRegExTest, PatternIsSharedAndItsLockRecursive) {
  const Pattern pattern = compile("x");
  const Pattern other = pattern;
  const KXLockPtr<KXRegEx::Pattern> outer(pattern);
  const KXLockPtr<KXRegEx::Pattern> inner(other);
  EXPECT_TRUE(inner->match("x"));
  EXPECT_EQ(inner->source(), "x");
}

}  // namespace
