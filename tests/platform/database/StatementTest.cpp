// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <utility>

#include "platform/database/Connection.h"
#include "platform/database/Statement.h"

namespace {

class StatementTest : public ::testing::Test {
 protected:
  StatementTest() : connection_(new DB::Connection("memory"_s)) {
    EXPECT_TRUE(connection_->openInMemory().isSuccess());
    EXPECT_TRUE(connection_->start().isSuccess());
  }
  KXLWPtr<DB::Connection> connection_;
};

TEST_F(StatementTest, ColumnsOfAnotherTypeHaveNoValue) {
  DB::Statement statement(*connection_, "SELECT 1, 'text', 2.0, NULL, x'61'");
  ASSERT_TRUE(statement.step());
  EXPECT_EQ(statement.integer(0), 1);
  EXPECT_EQ(statement.text(1), String("text"));
  for (const int column : {1, 2, 3, 4}) EXPECT_FALSE(statement.integer(column)) << column;
  for (const int column : {0, 2, 3, 4}) EXPECT_FALSE(statement.text(column)) << column;
  EXPECT_FALSE(statement.step());
}

TEST_F(StatementTest, KeepsAllBitsOfIntegersAndAllBytesOfText) {
  const String text("a\0\xff", 3);
  DB::Statement statement(*connection_, "SELECT ?1, ?2");
  statement.bind(1, std::int64_t{INT64_MIN});
  statement.bind(2, text);
  ASSERT_TRUE(statement.step());
  EXPECT_EQ(statement.integer(0), INT64_MIN);
  EXPECT_EQ(statement.text(1), text);
}

TEST_F(StatementTest, ParametersAreNullUntilTheyAreBoundAndAfterAReset) {
  DB::Statement statement(*connection_, "SELECT ?1 IS NULL");
  ASSERT_TRUE(statement.step());
  EXPECT_EQ(statement.integer(0), 1);
  statement.reset();
  statement.bind(1, std::int64_t{5});
  ASSERT_TRUE(statement.step());
  EXPECT_EQ(statement.integer(0), 0);
  statement.reset();
  ASSERT_TRUE(statement.step());
  EXPECT_EQ(statement.integer(0), 1);
}

TEST_F(StatementTest, OneThatCannotBePreparedYieldsNothingAndIsReported) {
  DB::Statement statement(*connection_, "SELECT nonsense");
  statement.bind(1, std::int64_t{1});
  statement.bind(1, "x"_s);
  EXPECT_FALSE(statement.step());
  statement.reset();
  EXPECT_EQ(connection_->commit().toString(), "memory: no such column: nonsense");
}

TEST_F(StatementTest, BindingWhatIsNotThereIsReported) {
  DB::Statement statement(*connection_, "SELECT 1");
  statement.bind(1, std::int64_t{1});
  EXPECT_TRUE(connection_->commit().isErr());
}

TEST_F(StatementTest, MovesWithItsRow) {
  DB::Statement first(*connection_, "SELECT 7");
  ASSERT_TRUE(first.step());
  DB::Statement second(std::move(first));
  EXPECT_EQ(second.integer(0), 7);
  DB::Statement third;
  third = std::move(second);
  EXPECT_EQ(third.integer(0), 7);
}

}  // namespace
