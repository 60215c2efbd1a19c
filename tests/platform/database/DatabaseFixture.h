// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "DeviceFile.h"
#include "Walk.h"
#include "platform/database/Database.h"
#include "platform/testing/VirtualEventLoop.h"

// A configuration file, and a database for it that hangs on the loop.
class DatabaseFixture : public ::testing::Test {
 protected:
  DatabaseFixture() { loop_.provide(&database_); }

  // Writes the tables and the rows, and opens the file.
  void openWith(const std::string& rows) {
    file_.execute(DeviceFile::TABLES + rows);
    const XCode opened = database_.open(file_.path());
    ASSERT_TRUE(opened.isSuccess()) << opened.toString().c_str();
  }
  // The one interface of one context, with the values of its columns dyn_if_id and if_state.
  static std::string oneInterface(const std::string& dynIfId, const std::string& state) {
    return "INSERT INTO context_ip VALUES (1, 2, 10, 'c'); INSERT INTO ip_interface VALUES (1, 1, 2, 10, 'i', " +
           dynIfId + ", " + state + ");";
  }
  std::string openError() {
    const XCode opened = database_.open(file_.path());
    EXPECT_TRUE(opened.isErr());
    EXPECT_EQ(opened.code(), XCode::GENERIC_ERROR);
    std::string text(opened.toString().view());
    const std::string title = "Configuration database " + std::string(file_.path().view()) + ": ";
    EXPECT_EQ(text.substr(0, title.size()), title);
    return text.substr(std::min(title.size(), text.size()));
  }

  KX::Testing::VirtualEventLoop loop_;
  DeviceFile file_;
  DB::Database database_;
};
