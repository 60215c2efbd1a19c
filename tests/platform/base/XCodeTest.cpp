// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "platform/base/XCode.h"

namespace {

TEST(XCodeTest, IsSuccessByDefault) {
  const XCode result;
  EXPECT_TRUE(result.isSuccess());
  EXPECT_FALSE(result.isErr());
  EXPECT_EQ(result.code(), 0);
  EXPECT_EQ(result.toString(), "");
}

TEST(XCodeTest, ErrorWithoutATextIsCalledError) {
  const XCode result(XCode::GENERIC_ERROR);
  EXPECT_TRUE(result.isErr());
  EXPECT_EQ(result.code(), 1);
  EXPECT_EQ(result.toString(), "Error");
}

TEST(XCodeTest, CarriesItsText) {
  EXPECT_EQ(XCode::error("Invalid job id").toString(), "Invalid job id");
  EXPECT_EQ(XCode::error("Invalid job id").code(), 1);
  XCode result(7);
  result.setString("first");
  result.setStringF("%s of %d bytes", std::string(300, 'x').c_str(), 300);
  EXPECT_EQ(result.toString(), std::string(300, 'x').append(" of 300 bytes"));
  EXPECT_EQ(result.code(), 7);
}

TEST(XCodeTest, SystemErrorsHaveTheirCodeAndText) {
  const XCode result = XCode::fromErrno(ENOENT);
  EXPECT_EQ(result.code(), 1000 + ENOENT);
  EXPECT_EQ(result.toString(), "No such file or directory");
  EXPECT_EQ(XCode::fromErrno(99999).code(), 100999);
  EXPECT_FALSE(XCode::fromErrno(99999).toString().isEmpty());
}

TEST(XCodeTest, ContextGoesInFrontOfTheReason) {
  XCode result = XCode::fromErrno(EACCES);
  result.extendString("/etc/config.db", ": ");
  result.extendString("Preparation failed", ": ");
  EXPECT_EQ(result.toString(), "Preparation failed: /etc/config.db: Permission denied");
  EXPECT_EQ(result.code(), 1000 + EACCES);
}

TEST(XCodeTest, ContextOfAnErrorWithoutATextIsFollowedByError) {
  XCode result(1);
  result.extendString("Cannot open", ": ");
  EXPECT_EQ(result.toString(), "Cannot open: Error");
}

}  // namespace
