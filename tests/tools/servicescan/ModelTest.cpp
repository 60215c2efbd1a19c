// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "platform/text/Utf8.h"
#include "tests/tools/servicescan/Damage.h"
#include "tools/servicescan/Model.h"

namespace ServiceScan {
namespace {

TEST(ModelTest, AnOrdinaryTextIsTakenAsItIs) {
  EXPECT_EQ(makeModel("Varnel Router 7, build 1.2"), "Varnel Router 7, build 1.2");
  EXPECT_EQ(makeModel("Téléphone 電話 \xf0\x9f\x93\x9e"), "Téléphone 電話 \xf0\x9f\x93\x9e");
  EXPECT_EQ(makeModel("in  between"), "in  between");
}

TEST(ModelTest, BlanksAroundItGo) {
  EXPECT_EQ(makeModel(" \t\r\n Router \n\n"), "Router");
  EXPECT_EQ(makeModel(""), "");
  EXPECT_EQ(makeModel(" \r\n\t "), "");
}

TEST(ModelTest, ControlCharactersBecomeBlanks) {
  EXPECT_EQ(makeModel("Line 1\r\nLine 2"), "Line 1  Line 2");
  EXPECT_EQ(makeModel(std::string_view("a\0b\x1b[2Jc\x7f", 9)), "a b [2Jc");
  // The second set of control characters, and the first character after it.
  EXPECT_EQ(makeModel("a\xc2\x80z\xc2\x9f\xc2\xa0"), "a z \xc2\xa0");
}

TEST(ModelTest, WhatIsNoUtf8IsReplaced) {
  EXPECT_EQ(makeModel("R\xe9seau"), "R\xef\xbf\xbdseau");
  EXPECT_EQ(makeModel("\xff\xfe"), "\xef\xbf\xbd\xef\xbf\xbd");
  EXPECT_EQ(makeModel("cut \xe9\x9b"), "cut \xef\xbf\xbd");
}

TEST(ModelTest, ALongTextIsCut) {
  EXPECT_EQ(makeModel(std::string(MAX_MODEL_BYTES, 'm')).length(), MAX_MODEL_BYTES);
  EXPECT_EQ(makeModel(std::string(MAX_MODEL_BYTES + 1, 'm')).length(), MAX_MODEL_BYTES);
  EXPECT_EQ(makeModel(std::string(1 << 20, 'm')), std::string(MAX_MODEL_BYTES, 'm').c_str());
}

TEST(ModelTest, ItIsNotCutInsideACharacter) {
  for (std::size_t before = MAX_MODEL_BYTES - 5; before <= MAX_MODEL_BYTES; ++before) {
    const String model = makeModel(std::string(before, 'm') + "\xf0\x9f\x93\x9e\xf0\x9f\x93\x9e");
    EXPECT_TRUE(isValidUtf8(model));
    EXPECT_EQ(model.length(), before + (before + 4 <= MAX_MODEL_BYTES ? 4 : 0));
  }
}

TEST(ModelTest, ReplacementsCountForTheLength) {
  const String model = makeModel(std::string(1000, '\xff'));
  EXPECT_EQ(model.length(), MAX_MODEL_BYTES / 3 * 3);
  EXPECT_TRUE(isValidUtf8(model));
}

TEST(ModelTest, NoBlankIsLeftWhereItWasCut) {
  EXPECT_EQ(makeModel(std::string(MAX_MODEL_BYTES - 1, 'm') + " tail"), std::string(MAX_MODEL_BYTES - 1, 'm').c_str());
  EXPECT_EQ(makeModel(std::string(10000, ' ') + "tail"), "tail");
}

TEST(ModelTest, WhateverComesItIsOneLineOfValidUtf8) {
  const std::string text = "Mod\xc3\xa8le \xe9\x9b\xbb\xe8\xa9\xb1\r\n\t\xf0\x9f\x93\x9e " + std::string(250, 'x');
  readDamaged(text, 2000, [](std::string_view damaged) {
    const String model = makeModel(damaged);
    ASSERT_TRUE(isValidUtf8(model));
    ASSERT_LE(model.length(), MAX_MODEL_BYTES);
    for (const char c : model.view()) ASSERT_TRUE(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f);
    ASSERT_FALSE(model.view().starts_with(' ') || model.view().ends_with(' '));
  });
}

}  // namespace
}  // namespace ServiceScan
