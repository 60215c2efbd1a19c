// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>

#include "platform/database/Fields.h"

namespace {

using State = DB::FieldEnum<DB::IpIfState_, unsigned char>;

TEST(FieldEnum, KeepsWhatItsTypeHolds) {
  EXPECT_EQ(State(3).get(), DB::IpIfState_::UP);
  EXPECT_EQ(State(1).get(), DB::IpIfState_::DOWN);
  EXPECT_EQ(static_cast<int>(State(255).get()), 255);
}

TEST(FieldEnum, IsZeroForWhatItsTypeDoesNotHold) {
  for (const std::int64_t stored : {std::int64_t{256 + 3}, std::int64_t{-253}, std::int64_t{1} << 32 | 3,
                                    std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_EQ(State(stored).get(), DB::IpIfState_::UNKNOWN) << stored;
  }
}

TEST(FieldEnum, IsZeroWithoutAValue) {
  EXPECT_EQ(State(std::nullopt).get(), DB::IpIfState_::UNKNOWN);
  EXPECT_EQ(State().get(), DB::IpIfState_::UNKNOWN);
}

TEST(FieldString, IsEmptyWithoutAValue) {
  EXPECT_TRUE(DB::FieldString(std::nullopt).get().isEmpty());
  EXPECT_TRUE(DB::FieldString().get().isEmpty());
}

TEST(FieldString, KeepsEmbeddedBytes) {
  const String text("a\0b\xff\n", 5);
  EXPECT_EQ(DB::FieldString(text).get(), text);
}

}  // namespace
