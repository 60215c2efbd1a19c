// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "agent/Preflight.h"

namespace {

// PATH is one folder of the test's, beside those of the system's programs.
class PreflightTest : public testing::Test {
 protected:
  PreflightTest() {
    char path[] = "/tmp/kx-preflight-XXXXXX";
    folder_ = mkdtemp(path);
    setenv("PATH", folder_.c_str(), 1);
  }
  ~PreflightTest() override {
    setenv("PATH", before_.c_str(), 1);
    std::filesystem::remove_all(folder_);
  }
  void add(const char* program, std::filesystem::perms permissions = std::filesystem::perms::owner_all) {
    const std::string file = folder_ + "/" + program;
    std::ofstream(file) << "#!/bin/sh\n";
    std::filesystem::permissions(file, permissions);
  }

  const std::string before_ = std::getenv("PATH");
  std::string folder_;
};

TEST_F(PreflightTest, AProgramIsLookedForInPath) {
  EXPECT_EQ(findProgram("kx-tool"), "");
  add("kx-tool");
  EXPECT_EQ(findProgram("kx-tool"), String(folder_ + "/kx-tool"));
  EXPECT_EQ(findProgram(String(folder_ + "/kx-tool")), String(folder_ + "/kx-tool"));
  EXPECT_EQ(findProgram("/nowhere/kx-tool"), "");
}

TEST_F(PreflightTest, WhatCannotBeRunIsNoProgram) {
  add("kx-tool", std::filesystem::perms::owner_read);
  std::filesystem::create_directory(folder_ + "/kx-folder");
  EXPECT_EQ(findProgram("kx-tool"), "");
  EXPECT_EQ(findProgram("kx-folder"), "");
}

TEST_F(PreflightTest, TheSystemsProgramsAreFoundByWhoHasThemNotInPath) {
  static_cast<void>(checkTools(false));
  const std::string path = std::getenv("PATH");
  EXPECT_EQ(path.find(folder_), 0U);
  EXPECT_NE(path.find("/usr/sbin"), std::string::npos);
}

TEST_F(PreflightTest, ASweepIsNeverHopeless) { EXPECT_FALSE(checkTools(false).isHopeless); }

TEST_F(PreflightTest, WhatIsMissingIsNamedWithItsPackage) {
  if (!findProgram("/usr/bin/servicescan").isEmpty()) GTEST_SKIP() << "this machine has a servicescan";
  add("discovery-client");
  EXPECT_EQ(checkTools(false).missing,
            "/usr/bin/servicescan: not found (Debian package discovery-tools); no services and no status");
}

}  // namespace
