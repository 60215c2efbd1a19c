// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/loop/UvEventLoop.h"
#include "tools/responder/Hooks.h"

namespace DeviceDiscovery::Responder {
namespace {

class HooksTest : public testing::Test {
 protected:
  HooksTest() {
    folder_ = (std::filesystem::temp_directory_path() / "hooks-XXXXXX").string();
    EXPECT_NE(mkdtemp(folder_.data()), nullptr);
  }
  ~HooksTest() override { std::filesystem::remove_all(folder_); }

  String program(const char* name, const std::string& commands) const {
    const std::string path = folder_ + "/" + name;
    std::ofstream(path) << "#!/bin/sh\ncd " << folder_ << "\n" << commands << "\n";
    EXPECT_EQ(chmod(path.c_str(), 0700), 0);
    return path.c_str();
  }
  std::string content(const char* name) const {
    std::ostringstream text;
    text << std::ifstream(folder_ + "/" + name).rdbuf();
    return text.str();
  }
  // Runs the loop until the file is there.
  void waitFor(const char* name) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    const auto look = loop_.createTimeoutEvent(0, [&] {
      if (std::filesystem::exists(folder_ + "/" + name) || std::chrono::steady_clock::now() > deadline) loop_.stop();
    });
    look->start(10, true, true);
    loop_.run();
    EXPECT_TRUE(std::filesystem::exists(folder_ + "/" + name)) << name;
  }

  std::string folder_;
  KX::UvEventLoop loop_;
};

TEST_F(HooksTest, AProgramReadsItsInputAndSeesNothingOfItElsewhere) {
  setenv("RESPONDER_SECRET", "SECRET", 1);
  Hooks hooks(loop_, 30);
  hooks.run(program("p", "cat >got; echo \"$@\" >seen; env >>seen; mv got done"), "SECRET\nserver\n"_s);
  waitFor("done");
  EXPECT_EQ(content("done"), "SECRET\nserver\n");
  EXPECT_EQ(content("seen").find("SECRET"), std::string::npos);
  unsetenv("RESPONDER_SECRET");
}

TEST_F(HooksTest, OneRunsAtATimeAndOfWhatWaitsTheLastCounts) {
  Hooks hooks(loop_, 30);
  const String slow = program("slow", "read name; echo \"+$name\" >>log; sleep 0.2; echo \"-$name\" >>log");
  for (const char* input : {"a\n", "a\n", "b\n", "c\n"}) hooks.run(slow, input);
  hooks.run(program("last", "touch done"), String());
  waitFor("done");
  EXPECT_EQ(content("log"), "+a\n-a\n+c\n-c\n");
}

TEST_F(HooksTest, WhatTakesTooLongIsKilledWithAllItStarted) {
  Hooks hooks(loop_, 1);
  hooks.run(program("endless", "sleep 600 & sleep 600; touch survived"), String());
  hooks.run(program("next", "touch done"), String());
  testing::internal::CaptureStderr();
  waitFor("done");
  EXPECT_NE(testing::internal::GetCapturedStderr().find("takes too long"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(folder_ + "/survived"));
}

TEST_F(HooksTest, TroubleIsLoggedWithoutTheInputAndTheNextOneRuns) {
  Hooks hooks(loop_, 30);
  testing::internal::CaptureStderr();
  hooks.run("/nowhere/program", "SECRET\n");
  hooks.run(program("fails", "cat; cat >&2; exit 3"), "SECRET\n");
  hooks.run(program("next", "touch done"), String());
  waitFor("done");
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("cannot run /nowhere/program"), std::string::npos) << log;
  EXPECT_NE(log.find("Exit status 3"), std::string::npos) << log;
  EXPECT_EQ(log.find("SECRET"), std::string::npos) << log;
}

}  // namespace
}  // namespace DeviceDiscovery::Responder
