// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "program/CommandLine.h"

namespace {

class CommandLineTest : public testing::Test {
 protected:
  CommandOptions table() {
    return {
        {.name = "flag", .letter = 'f', .help = "a flag", .take = setFlag(flag_)},
        {.name = "text", .letter = 't', .value = "TEXT", .help = "a text\nin two lines", .take = setText(text_)},
        {.name = "number", .value = "N", .help = "a number", .take = setNumber(number_, 2, 70'000)},
        {.name = "small", .value = "N", .help = "a small number", .take = setNumber(small_, 0, 255)},
    };
  }
  CommandOptions tableWithSecret() {
    return table() + CommandOptions{{.name = "key",
                                     .letter = 'k',
                                     .value = "KEY",
                                     .help = "a secret",
                                     .take =
                                         [this](char* value) {
                                           text_ = value;
                                           std::fill_n(value, std::strlen(value), '*');
                                           return text_ == "SECRET" ? XCode::error("expecting better") : XCode();
                                         },
                                     .isSecret = true}};
  }
  XCode read(std::vector<std::string> words, const CommandOptions& options) {
    words.insert(words.begin(), "program");
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    request_ = CommandRequest::RUN;
    XCode result = readCommandLine(static_cast<int>(words.size()), pointers.data(), options, request_, arguments_);
    words_ = words;
    return result;
  }
  std::string errorOf(const std::vector<std::string>& words) {
    const XCode result = read(words, table());
    EXPECT_TRUE(result.isErr());
    return result.toString().c_str();
  }

  bool flag_ = false;
  String text_;
  std::uint32_t number_ = 0;
  std::uint8_t small_ = 0;
  CommandRequest request_ = CommandRequest::RUN;
  std::vector<String>* arguments_ = nullptr;
  std::vector<std::string> words_;
};

TEST_F(CommandLineTest, EachFormOfAnOptionIsTaken) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{"-f", "-t", "x", "--number", "70000"},
                                                {"-ftx", "--number=70000"},
                                                {"--fl", "--text=x", "--num", "70000"},
                                                {"--flag", "--text", "y", "--text", "x", "--number=070000"}}) {
    flag_ = false;
    text_ = String();
    number_ = 0;
    ASSERT_TRUE(read(words, table()).isSuccess()) << words[0];
    EXPECT_TRUE(flag_);
    EXPECT_EQ(text_, "x");
    EXPECT_EQ(number_, 70'000U);
  }
}

TEST_F(CommandLineTest, WhatIsNotUnderstoodIsNamed) {
  EXPECT_EQ(errorOf({"--fast"}), "unknown option: --fast");
  EXPECT_EQ(errorOf({"--fast=x"}), "unknown option: --fast");
  EXPECT_EQ(errorOf({"-x"}), "unknown option: -x");
  EXPECT_EQ(errorOf({"-fx"}), "unknown option: -x");
  EXPECT_EQ(errorOf({"-xf"}), "unknown option: -x");
  EXPECT_EQ(errorOf({"-\x1b"}), "unknown option: of a strange letter");
  EXPECT_EQ(errorOf({"more"}), "unexpected argument: more");
  EXPECT_EQ(errorOf({"--", "-f"}), "unexpected argument: -f");
}

TEST_F(CommandLineTest, AValueThatIsMissingOrTooManyIsSaid) {
  EXPECT_EQ(errorOf({"--text"}), "--text needs a value: TEXT");
  EXPECT_EQ(errorOf({"-t"}), "-t needs a value: TEXT");
  EXPECT_EQ(errorOf({"--flag=x"}), "--flag takes no value");
  EXPECT_EQ(errorOf({"--help=x"}), "--help takes no value");
}

TEST_F(CommandLineTest, AnEmptyValueIsAMistake) {
  EXPECT_EQ(errorOf({"--text", ""}), "unusable value for --text: \"\", expecting TEXT");
  EXPECT_EQ(errorOf({"--text="}), "unusable value for --text: \"\", expecting TEXT");
  EXPECT_EQ(errorOf({"-t", ""}), "unusable value for --text: \"\", expecting TEXT");
  EXPECT_EQ(errorOf({"--number", ""}), "unusable value for --number: \"\", expecting N");
}

TEST_F(CommandLineTest, AWrongValueIsNamedWithTheFormExpected) {
  for (const char* value :
       {"1", "70001", "-2", "+2", " 2", "2 ", "2x", "0x10", "1.5", "4294967298", "99999999999999999999"}) {
    EXPECT_EQ(errorOf({"--number", value}),
              std::string("unusable value for --number: \"") + value + "\", expecting a number from 2 to 70000");
  }
  EXPECT_EQ(errorOf({"--small", "256"}), "unusable value for --small: \"256\", expecting a number from 0 to 255");
  EXPECT_TRUE(read({"--number", "2", "--small", "255"}, table()).isSuccess());
  EXPECT_EQ(small_, 255U);
}

TEST_F(CommandLineTest, ASecretIsNeverNamed) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{"-k", "SECRET"},
                                                {"-kSECRET"},
                                                {"--key=SECRET"},
                                                {"-k", "K", "SECRET"},
                                                {"-fySECRET"},
                                                {"--kye=SECRET"},
                                                {"--flag=SECRET"}}) {
    const XCode result = read(words, tableWithSecret());
    ASSERT_TRUE(result.isErr()) << words[0];
    EXPECT_EQ(std::string(result.toString()).find("SECRET"), std::string::npos) << result.toString().c_str();
  }
  EXPECT_EQ(std::string(read({"-k", "SECRET"}, tableWithSecret()).toString()),
            "unusable value for --key: expecting better");
}

TEST_F(CommandLineTest, AValueMayBeOverwrittenInPlace) {
  ASSERT_TRUE(read({"-k", "K1"}, tableWithSecret()).isSuccess());
  EXPECT_EQ(text_, "K1");
  EXPECT_EQ(words_[2], "**");
}

TEST_F(CommandLineTest, HelpAndVersionEndTheReading) {
  for (const char* word : {"-h", "--help"}) {
    ASSERT_TRUE(read({word, "--nonsense"}, table()).isSuccess());
    EXPECT_EQ(request_, CommandRequest::HELP);
  }
  ASSERT_TRUE(read({"--version", "--nonsense"}, table()).isSuccess());
  EXPECT_EQ(request_, CommandRequest::VERSION);
}

TEST_F(CommandLineTest, ArgumentsStandAmongOptions) {
  std::vector<String> arguments;
  arguments_ = &arguments;
  ASSERT_TRUE(read({"a", "-f", "b", "--", "-c"}, table()).isSuccess());
  ASSERT_EQ(arguments.size(), 3U);
  EXPECT_EQ(arguments[0], "a");
  EXPECT_EQ(arguments[1], "b");
  EXPECT_EQ(arguments[2], "-c");
  EXPECT_TRUE(flag_);
}

TEST_F(CommandLineTest, TheHelpHasEveryOptionInItsColumn) {
  EXPECT_STREQ(describeOptions(table()).c_str(),
               "  -f, --flag                a flag\n"
               "  -t, --text TEXT           a text\n"
               "                            in two lines\n"
               "  --number N                a number\n"
               "  --small N                 a small number\n");
  EXPECT_STREQ(describeOptions({{.name = "a-rather-long-name", .value = "VALUE", .help = "said below"}}).c_str(),
               "  --a-rather-long-name VALUE\n"
               "                            said below\n");
}

}  // namespace
